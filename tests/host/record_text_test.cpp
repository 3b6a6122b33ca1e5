#include "runtime/record_text.h"

#include <gtest/gtest.h>

#include <stdexcept>

TEST(RecordParser, PicksEachFieldOfARecord) {
    const std::wstring strRecord = L"TaskName=Foo;Username=Bar;CommandToLaunch=C:\\x.exe /q";
    EXPECT_EQ(L"Foo", GetTaskName(strRecord));
    EXPECT_EQ(L"Bar", GetUsername(strRecord));
    EXPECT_EQ(L"C:\\x.exe /q", GetCommandToLaunch(strRecord)); // last field runs to the end
}

TEST(RecordParser, EmptyValueAndCaseSensitiveKeys) {
    EXPECT_EQ(L"", GetTaskName(L"TaskName=;Username=Bar"));
    EXPECT_EQ(L" a b ", GetServiceName(L"ServiceName= a b ;")); // no trimming
    // "taskname=" is not "TaskName=": the missing-key rule applies (start at 8).
    EXPECT_EQ(L"=x", GetTaskName(L"taskname=x"));
}

TEST(RecordParser, FirstOccurrenceWinsEvenInsideALongerKeyOrValue) {
    EXPECT_EQ(L"X", GetTaskName(L"OldTaskName=X;TaskName=Y"));
    EXPECT_EQ(L"Z", GetUsername(L"CommandToLaunch=Username=Z;Username=W"));
}

TEST(RecordParser, MissingKeyStartsAtKeyLengthLessOne) {
    // "ServiceName=" has 12 characters: the value starts at position 11.
    const std::wstring strRecord = L"ABCDEFGHIJKLMNOPQRST"; // 20 characters
    EXPECT_EQ(L"LMNOPQRST", GetServiceName(strRecord));
    EXPECT_EQ(L"LMN", GetServiceName(L"ABCDEFGHIJKLMN;OPQRST"));
    EXPECT_EQ(L"", GetServiceName(L"ABCDEFGHIJK;")); // the start lands on the ";"
    EXPECT_EQ(L"", GetServiceName(L"ABCDEFGHIJK"));  // the start is the end
    // "DirectoryOfBinary=" has 18 characters: start 17.
    EXPECT_EQ(L"rest", GetDirectoryOfBinary(L"0123456789abcdefgrest;more"));
}

TEST(RecordParser, ShortRecordWithoutTheKeyThrowsInvalidPosition) {
    try {
        GetServiceName(L"short");
        FAIL() << "expected std::out_of_range";
    } catch (const std::out_of_range& error) {
        EXPECT_STREQ("invalid string position", error.what());
    }
    EXPECT_THROW(GetTaskName(L""), std::out_of_range);
    EXPECT_NO_THROW(GetTaskName(L"12345678")); // 8 characters: start 8 is the end
    EXPECT_THROW(GetTaskName(L"1234567"), std::out_of_range);
}

TEST(RecordParser, ValueRunsToTheFirstSemicolonOrTheEnd) {
    EXPECT_EQ(L"a=b", GetTaskName(L"TaskName=a=b;Username=U")); // "=" inside a value is kept
    EXPECT_EQ(L"", GetTaskName(L"TaskName="));                  // the key is the whole record
    EXPECT_EQ(L"", GetTaskName(L"TaskName=;;;"));
    EXPECT_EQ(L"x", GetTaskName(L"Username=U;TaskName=x;"));
    EXPECT_EQ(L"J\u00fcrgen \u00c4", GetUsername(L"Username=J\u00fcrgen \u00c4;TaskName=T"));
    const std::wstring strLong(100000, L'L');
    EXPECT_EQ(strLong, GetCommandToLaunch(L"TaskName=T;CommandToLaunch=" + strLong));
}

TEST(RecordParser, AKeyInsideAnEarlierValueWins) {
    EXPECT_EQ(L"evil", GetTaskName(L"CommandToLaunch=run TaskName=evil;TaskName=good"));
    EXPECT_EQ(L"C:\\x", GetDirectoryOfBinary(L"ServiceName=S;DirectoryOfBinary=C:\\x"));
    EXPECT_EQ(L"S", GetServiceName(L"DirectoryOfBinary=C:\\x;ServiceName=S"));
}

TEST(RecordParser, EmbeddedNullsAreOrdinaryCharacters) {
    const std::wstring strRecord(L"TaskName=a\0b;Username=c\0", 24);
    EXPECT_EQ(std::wstring(L"a\0b", 3), GetTaskName(strRecord));
    EXPECT_EQ(std::wstring(L"c\0", 2), GetUsername(strRecord));
}

TEST(RecordParser, MissingKeyBoundaryForEachKey) {
    // Without the key the start is L - 1: a record of exactly L - 1 characters
    // gives "", one character less throws.
    const std::wstring_view keys[] = {L"TaskName=", L"Username=", L"CommandToLaunch=",
                                      L"DirectoryOfBinary=", L"ServiceName="};
    for (std::wstring_view strKey : keys) {
        const size_t iStart = strKey.size() - 1;
        EXPECT_EQ(L"", GetRecordValue(std::wstring(iStart, L'#'), strKey));
        EXPECT_THROW(GetRecordValue(std::wstring(iStart - 1, L'#'), strKey), std::out_of_range);
        EXPECT_EQ(L"tail", GetRecordValue(std::wstring(iStart, L'#') + L"tail;next", strKey));
        // A ";" before the start does not matter.
        EXPECT_EQ(L"xy", GetRecordValue(L";" + std::wstring(iStart - 1, L'#') + L"xy", strKey));
    }
}
