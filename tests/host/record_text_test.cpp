#include "runtime/record_text.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <utility>

using Parser = std::wstring (*)(std::wstring_view);

TEST(RecordParser, ValueRunsFromTheFirstOccurrenceOfTheKeyToTheNextSemicolonOrTheEnd) {
    const std::wstring strRecord = L"TaskName=Foo;Username=Bar;CommandToLaunch=C:\\x.exe /q";
    const std::wstring strLong(100000, L'L');
    const std::wstring strNulls(L"TaskName=a\0b;", 13);
    const struct {
        Parser pfnParse;
        std::wstring strRecord;
        std::wstring strValue;
    } cases[] = {
        {GetTaskName, strRecord, L"Foo"},
        {GetUsername, strRecord, L"Bar"},
        {GetCommandToLaunch, strRecord, L"C:\\x.exe /q"}, // the last field runs to the end
        {GetDirectoryOfBinary, L"ServiceName=S;DirectoryOfBinary=C:\\x", L"C:\\x"},
        {GetServiceName, L"DirectoryOfBinary=C:\\x;ServiceName= a b ;", L" a b "}, // no trimming
        {GetTaskName, L"TaskName=", L""},
        {GetTaskName, L"TaskName=a=b;Username=U", L"a=b"},
        {GetCommandToLaunch, L"TaskName=T;CommandToLaunch=" + strLong, strLong},
        {GetTaskName, strNulls, std::wstring(L"a\0b", 3)}, // nulls are ordinary characters
        // The first occurrence wins, inside a longer key or an earlier value too.
        {GetTaskName, L"OldTaskName=X;TaskName=Y", L"X"},
        {GetUsername, L"CommandToLaunch=Username=Z;Username=W", L"Z"},
        // A missing key starts the value at L - 1: position 11 for "ServiceName=",
        // 8 for "TaskName=" (the search is case-sensitive).
        {GetServiceName, L"ABCDEFGHIJKLMNOPQRST", L"LMNOPQRST"},
        {GetServiceName, L"ABCDEFGHIJK;", L""}, // the start lands on the ";"
        {GetTaskName, L"taskname=x", L"=x"},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(testing::Message() << test.strRecord.substr(0, 60).c_str());
        EXPECT_EQ(test.strValue, test.pfnParse(test.strRecord));
    }
}

TEST(RecordParser, MissingKeyBoundaryForEachKey) {
    // Without the key the start is L - 1: a record of exactly L - 1 characters
    // gives "", one character less throws.
    const std::pair<Parser, const wchar_t*> parsers[] = {
        {GetTaskName, L"TaskName="},
        {GetUsername, L"Username="},
        {GetCommandToLaunch, L"CommandToLaunch="},
        {GetDirectoryOfBinary, L"DirectoryOfBinary="},
        {GetServiceName, L"ServiceName="}};
    for (const auto& [pfnParse, szKey] : parsers) {
        SCOPED_TRACE(testing::Message() << szKey);
        const size_t iStart = std::wstring_view(szKey).size() - 1;
        EXPECT_EQ(L"", pfnParse(std::wstring(iStart, L'#')));
        EXPECT_THROW(pfnParse(std::wstring(iStart - 1, L'#')), std::out_of_range);
        EXPECT_EQ(L"tail", pfnParse(std::wstring(iStart, L'#') + L"tail;next"));
        // A ";" before the start does not matter.
        EXPECT_EQ(L"xy", pfnParse(L";" + std::wstring(iStart - 1, L'#') + L"xy"));
    }
}
