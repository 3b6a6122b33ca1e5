#include "tasks/task_xml_text.h"

#include <initializer_list>
#include <utility>

namespace {

void AppendTwoDigits(std::wstring& strText, int iValue) {
    strText += static_cast<wchar_t>(L'0' + iValue / 10 % 10);
    strText += static_cast<wchar_t>(L'0' + iValue % 10);
}

} // namespace

std::wstring FormatStartBoundary(const std::tm& time) {
    std::wstring strText = std::to_wstring(1900LL + time.tm_year);
    for (const auto& [chSeparator, iValue] :
         {std::pair{L'-', time.tm_mon + 1}, std::pair{L'-', time.tm_mday},
          std::pair{L'T', time.tm_hour}, std::pair{L':', time.tm_min},
          std::pair{L':', time.tm_sec}}) {
        strText += chSeparator;
        AppendTwoDigits(strText, iValue);
    }
    return strText;
}
