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
