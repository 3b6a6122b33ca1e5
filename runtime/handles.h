// Owners for the handles the library opens. Each closes its handle in the
// routine that opened it, when the owner goes out of scope.
#pragma once

#include <windows.h>
#include <msi.h>
#include <setupapi.h>
#include <shlobj.h>

#include <utility>

// One owner type per close function: THandle is the raw type, Close releases it
// and Null() gives the value that means "nothing to close" (a function, since
// INVALID_HANDLE_VALUE is not a constant expression).
template <typename THandle>
constexpr THandle ZeroHandle() {
    return THandle{};
}

template <typename THandle, auto Close, auto Null = &ZeroHandle<THandle>>
class UniqueResource {
  public:
    UniqueResource() = default;
    explicit UniqueResource(THandle h) : m_h(h) {}
    UniqueResource(const UniqueResource&) = delete;
    UniqueResource& operator=(const UniqueResource&) = delete;
    UniqueResource(UniqueResource&& other) noexcept : m_h(other.release()) {}
    UniqueResource& operator=(UniqueResource&& other) noexcept {
        reset(other.release());
        return *this;
    }
    ~UniqueResource() { reset(); }

    THandle get() const { return m_h; }
    explicit operator bool() const { return m_h != Null(); }
    // For out-parameters of the opening call: closes what is held first.
    THandle* put() {
        reset();
        return &m_h;
    }
    THandle release() { return std::exchange(m_h, Null()); }
    void reset(THandle h = Null()) {
        if (m_h != Null()) {
            Close(m_h);
        }
        m_h = h;
    }

  private:
    THandle m_h = Null();
};

using UniqueMsiHandle = UniqueResource<MSIHANDLE, &MsiCloseHandle>;
using UniqueRegKey = UniqueResource<HKEY, &RegCloseKey>;
using UniqueHandle = UniqueResource<HANDLE, &CloseHandle>;
using UniqueLocalMemory = UniqueResource<HLOCAL, &LocalFree>;
using UniqueSid = UniqueResource<PSID, &FreeSid>;
using UniqueServiceHandle = UniqueResource<SC_HANDLE, &CloseServiceHandle>;
inline HANDLE InvalidHandle() {
    return INVALID_HANDLE_VALUE;
}
using UniqueFindHandle = UniqueResource<HANDLE, &FindClose, &InvalidHandle>;
// CreateFileW's handles: INVALID_HANDLE_VALUE means nothing was opened.
using UniqueFileHandle = UniqueResource<HANDLE, &CloseHandle, &InvalidHandle>;
using UniqueDevInfo = UniqueResource<HDEVINFO, &SetupDiDestroyDeviceInfoList, &InvalidHandle>;

inline void FreeShellItemList(PIDLIST_ABSOLUTE pidl) {
    CoTaskMemFree(pidl);
}
using UniqueItemList = UniqueResource<PIDLIST_ABSOLUTE, &FreeShellItemList>;
using UniqueLibrary = UniqueResource<HMODULE, &FreeLibrary>;

// A COM interface pointer, released when the owner goes.
inline void ReleaseComObject(IUnknown* pObject) {
    pObject->Release();
}
template <typename TInterface>
using UniqueComPtr = UniqueResource<TInterface*, &ReleaseComObject>;

// COM on the calling thread for the owner's lifetime. A thread the installer already
// joined to the other apartment kind (RPC_E_CHANGED_MODE) can still use COM; only a
// successful initialisation is undone.
class ComApartment {
  public:
    ComApartment() : m_hr(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED)) {}
    ~ComApartment() {
        if (SUCCEEDED(m_hr)) {
            CoUninitialize();
        }
    }
    ComApartment(const ComApartment&) = delete;
    ComApartment& operator=(const ComApartment&) = delete;
    HRESULT Result() const { return SUCCEEDED(m_hr) || m_hr == RPC_E_CHANGED_MODE ? S_OK : m_hr; }

  private:
    HRESULT m_hr;
};
using UniqueBstr = UniqueResource<BSTR, &SysFreeString>;
