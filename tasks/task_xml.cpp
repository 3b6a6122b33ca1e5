// The task XML rewriters: XmlLite reads the installed definition and writes the
// copy node by node through FileStream, a minimal IStream over a file handle.
#include "tasks/task_xml.h"

#include "runtime/handles.h"
#include "runtime/log.h"
#include "runtime/session.h"
#include "tasks/task_xml_text.h"

#include <xmllite.h>

#include <cwchar>
#include <ctime>

namespace {

// An IStream over a Win32 file handle, as much of it as the XmlLite reader and
// writer use. Releasing the last reference closes the handle.
class FileStream final : public IStream {
  public:
    // Opens szPath for reading (it must exist) or, with fWrite, for writing
    // (created or emptied), shared for reading either way.
    static HRESULT OpenFile(const wchar_t* szPath, bool fWrite, IStream** ppStream) {
        *ppStream = nullptr;
        UniqueHandle hFile(
            CreateFileW(szPath, fWrite ? GENERIC_WRITE : GENERIC_READ, FILE_SHARE_READ, nullptr,
                        fWrite ? CREATE_ALWAYS : OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
        if (hFile.get() == INVALID_HANDLE_VALUE) {
            hFile.release();
            return HResultFromError(GetLastError());
        }
        *ppStream = new FileStream(std::move(hFile));
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppvObject) override {
        if (riid == __uuidof(IUnknown) || riid == __uuidof(ISequentialStream) ||
            riid == __uuidof(IStream)) {
            *ppvObject = static_cast<IStream*>(this);
            AddRef();
            return S_OK;
        }
        *ppvObject = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return InterlockedIncrement(&m_cRef); }
    ULONG STDMETHODCALLTYPE Release() override {
        const LONG cRef = InterlockedDecrement(&m_cRef);
        if (cRef == 0) {
            delete this;
        }
        return cRef;
    }

    HRESULT STDMETHODCALLTYPE Read(void* pv, ULONG cb, ULONG* pcbRead) override {
        DWORD cbRead = 0;
        const BOOL fRead = ReadFile(m_hFile.get(), pv, cb, &cbRead, nullptr);
        if (pcbRead != nullptr) {
            *pcbRead = cbRead;
        }
        if (!fRead) {
            return HResultFromError(GetLastError());
        }
        return cbRead < cb ? S_FALSE : S_OK;
    }
    HRESULT STDMETHODCALLTYPE Write(const void* pv, ULONG cb, ULONG* pcbWritten) override {
        DWORD cbWritten = 0;
        const BOOL fWritten = WriteFile(m_hFile.get(), pv, cb, &cbWritten, nullptr);
        if (pcbWritten != nullptr) {
            *pcbWritten = cbWritten;
        }
        return fWritten ? S_OK : HResultFromError(GetLastError());
    }

    HRESULT STDMETHODCALLTYPE Seek(LARGE_INTEGER liMove, DWORD dwOrigin,
                                   ULARGE_INTEGER* plibNewPosition) override {
        // STREAM_SEEK_SET, _CUR and _END have the values of FILE_BEGIN, _CURRENT and _END.
        LARGE_INTEGER liPosition = {};
        if (!SetFilePointerEx(m_hFile.get(), liMove, &liPosition, dwOrigin)) {
            return HResultFromError(GetLastError());
        }
        if (plibNewPosition != nullptr) {
            plibNewPosition->QuadPart = static_cast<ULONGLONG>(liPosition.QuadPart);
        }
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Stat(STATSTG* pStat, DWORD /*grfStatFlag*/) override {
        LARGE_INTEGER liSize = {};
        if (!GetFileSizeEx(m_hFile.get(), &liSize)) {
            return HResultFromError(GetLastError());
        }
        *pStat = {};
        pStat->type = STGTY_STREAM;
        pStat->cbSize.QuadPart = static_cast<ULONGLONG>(liSize.QuadPart);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE SetSize(ULARGE_INTEGER) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE CopyTo(IStream*, ULARGE_INTEGER, ULARGE_INTEGER*,
                                     ULARGE_INTEGER*) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE Commit(DWORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Revert() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE Clone(IStream**) override { return E_NOTIMPL; }

  private:
    explicit FileStream(UniqueHandle hFile) : m_hFile(std::move(hFile)) {}
    ~FileStream() = default;

    // A positive Win32 error as an HRESULT of the Win32 facility; anything else
    // (no error set) still reads as a failure.
    static HRESULT HResultFromError(DWORD dwError) {
        return static_cast<LONG>(dwError) > 0
                   ? static_cast<HRESULT>(0x80070000 | (dwError & 0xFFFF))
                   : E_FAIL;
    }

    LONG m_cRef = 1;
    UniqueHandle m_hFile;
};

// The reader's base URI: "c:", a tab, "emp". The tab stands where a backslash and
// "t" were meant; the URI is never resolved, so it is kept as it has always been.
constexpr wchar_t kBaseUri[] = L"c:\temp";
constexpr wchar_t kEncoding[] = L"utf-16";
constexpr wchar_t kNameError[] = L"Error reading element name, error is %08.8lx";
constexpr wchar_t kShallowError[] = L"Error writing WriteNodeShallow, error is %08.8lx";

// The element whose text a rewrite replaces, and the replacement.
struct ElementRewrite {
    const wchar_t* szElement;
    // The replacement text; null for the start boundary, which is computed when
    // its text is met and replaces only a non-empty text.
    const std::wstring* pstrText;
};

// Logs szFormat with hr when hr is a failure, and says whether it was.
bool ReportFailure(HRESULT hr, const wchar_t* szFormat) {
    if (FAILED(hr)) {
        LogMessage(g_hInstall, szFormat, hr);
        return true;
    }
    return false;
}

std::wstring StartBoundaryTomorrow() {
    const std::time_t tTomorrow = std::time(nullptr) + 86400;
    std::tm local = {};
    localtime_s(&local, &tTomorrow);
    return FormatStartBoundary(local);
}

// Writes the replacement for the text node the reader stands on; false after a
// logged failure.
bool WriteReplacement(IXmlReader& reader, IXmlWriter& writer, const ElementRewrite& rewrite) {
    std::wstring strText;
    if (rewrite.pstrText != nullptr) {
        strText = *rewrite.pstrText;
    } else {
        const wchar_t* szValue = nullptr;
        if (ReportFailure(reader.GetValue(&szValue, nullptr),
                          L"Error reading value, error is %08.8lx")) {
            return false;
        }
        if (*szValue == L'\0') {
            return true;
        }
        strText = StartBoundaryTomorrow();
    }
    return !ReportFailure(writer.WriteString(strText.c_str()),
                          L"Error writing WriteString, error is %08.8lx");
}

// True when the reader stands on a node named szElement; false after a logged failure too.
bool ReadNameIs(IXmlReader& reader, const wchar_t* szElement, bool& fFailed) {
    const wchar_t* szName = nullptr;
    fFailed = ReportFailure(reader.GetLocalName(&szName, nullptr), kNameError);
    return !fFailed && wcscmp(szName, szElement) == 0;
}

// Copies node by node until the reader ends or fails (silently); the first
// failure to read a name or value or to write is logged and ends the copy. End
// tags are always written in full.
void CopyNodes(IXmlReader& reader, IXmlWriter& writer, const ElementRewrite& rewrite) {
    bool fInElement = false;
    bool fFailed = false;
    XmlNodeType nodeType = XmlNodeType_None;
    while (!fFailed && reader.Read(&nodeType) == S_OK) {
        switch (nodeType) {
        case XmlNodeType_Element:
            // An empty element has no text to replace and leaves the flag as it is.
            if (!reader.IsEmptyElement()) {
                fInElement = ReadNameIs(reader, rewrite.szElement, fFailed);
            }
            fFailed =
                fFailed || ReportFailure(writer.WriteNodeShallow(&reader, FALSE), kShallowError);
            break;
        case XmlNodeType_Text:
            if (fInElement) {
                fInElement = false;
                fFailed = !WriteReplacement(reader, writer, rewrite);
            } else {
                fFailed = ReportFailure(writer.WriteNodeShallow(&reader, FALSE), kShallowError);
            }
            break;
        case XmlNodeType_EndElement:
            if (ReadNameIs(reader, rewrite.szElement, fFailed)) {
                fInElement = false;
            }
            fFailed =
                fFailed || ReportFailure(writer.WriteFullEndElement(),
                                         L"Error writing WriteFullEndElement, error is %08.8lx");
            break;
        default:
            fFailed = ReportFailure(writer.WriteNodeShallow(&reader, FALSE), kShallowError);
            break;
        }
    }
}

// Sets up the reader over strSource and the writer over strDestination, each
// step's failure logged and ending the rewrite, then copies. Nothing is flushed
// explicitly: the copy is complete when the writer, its output and the stream
// are released.
void RewriteElementText(const std::wstring& strSource, const std::wstring& strDestination,
                        const ElementRewrite& rewrite) {
    // Declared in the reverse of their release order: the two streams first, then
    // the reader and the writer, then the reader's input and the writer's output.
    UniqueComPtr<IUnknown> pWriterOutput;
    UniqueComPtr<IUnknown> pReaderInput;
    UniqueComPtr<IXmlWriter> pWriter;
    UniqueComPtr<IXmlReader> pReader;
    UniqueComPtr<IStream> pOutput;
    UniqueComPtr<IStream> pInput;
    if (ReportFailure(FileStream::OpenFile(strSource.c_str(), false, pInput.put()),
                      L"Error creating file reader, error is %08.8lx") ||
        ReportFailure(FileStream::OpenFile(strDestination.c_str(), true, pOutput.put()),
                      L"Error creating file writer, error is %08.8lx") ||
        ReportFailure(
            CreateXmlReader(__uuidof(IXmlReader), reinterpret_cast<void**>(pReader.put()), nullptr),
            L"Error creating xml reader, error is %08.8lx")) {
        return;
    }
    // Its result is not checked: a reader that keeps DTDs still fails on a prohibited one below.
    pReader.get()->SetProperty(XmlReaderProperty_DtdProcessing, DtdProcessing_Prohibit);
    if (ReportFailure(CreateXmlReaderInputWithEncodingName(pInput.get(), nullptr, kEncoding, FALSE,
                                                           kBaseUri, pReaderInput.put()),
                      L"Error creating xml reader with encoding code page, error is %08.8lx") ||
        ReportFailure(
            CreateXmlWriter(__uuidof(IXmlWriter), reinterpret_cast<void**>(pWriter.put()), nullptr),
            L"Error creating xml writer, error is %08.8lx") ||
        // The writer's output is reported in the reader's words: packages' log
        // readers know the line so.
        ReportFailure(CreateXmlWriterOutputWithEncodingName(pOutput.get(), nullptr, kEncoding,
                                                            pWriterOutput.put()),
                      L"Error creating xml reader with encoding code page, error is %08.8lx") ||
        ReportFailure(pReader.get()->SetInput(pReaderInput.get()),
                      L"Error setting input for reader, error is %08.8lx") ||
        ReportFailure(pWriter.get()->SetOutput(pWriterOutput.get()),
                      L"Error setting output for writer, error is %08.8lx") ||
        ReportFailure(pWriter.get()->SetProperty(XmlWriterProperty_Indent, TRUE),
                      L"Error setting indent property in writer, error is %08.8lx")) {
        return;
    }
    CopyNodes(*pReader.get(), *pWriter.get(), rewrite);
}

} // namespace

void RewriteWorkingDirectory(std::wstring strSource, std::wstring strDestination,
                             std::wstring strFolder) {
    RewriteElementText(strSource, strDestination, {L"WorkingDirectory", &strFolder});
}

void RewriteStartBoundary(std::wstring strSource, std::wstring strDestination) {
    RewriteElementText(strSource, strDestination, {L"StartBoundary", nullptr});
}
