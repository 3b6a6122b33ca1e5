#include "system/service_text.h"

#include <gtest/gtest.h>

TEST(ServicePollInterval, ATenthOfTheHintWithinOneAndTenSeconds) {
    const std::pair<uint32_t, uint32_t> cases[] = {
        {0, 1000}, {10000, 1000}, {10010, 1001}, {100000, 10000}, {0xFFFFFFFFu, 10000}};
    for (const auto& [dwHint, dwExpected] : cases) {
        EXPECT_EQ(dwExpected, ServicePollInterval(dwHint)) << dwHint;
    }
}

TEST(ServiceBinaryFolder, QuotesAndArgumentsAreNotPartOfTheFolder) {
    const std::pair<const wchar_t*, const wchar_t*> cases[] = {
        {L"\"C:\\Program Files\\QVX\\eeu.exe\" -k run", L"C:\\Program Files\\QVX"},
        {L"\"C:\\unclosed\\a b.exe", L"C:\\unclosed"},
        {L"C:\\Program Files\\QVX\\EEU.EXE -k run", L"C:\\Program Files\\QVX"},
        {L"C:\\my.exes\\x.exe.bak\\svc.exe /a", L"C:\\my.exes\\x.exe.bak"},
        {L"C:\\svc.exe", L"C:\\"},
        {L"C:/tools/svc", L"C:/tools"},
        {L"svchost.exe -k netsvcs", L""},
        {L"\"", L""},
        {L"", L""},
    };
    for (const auto& [szConfigured, szFolder] : cases) {
        EXPECT_EQ(szFolder, GetParentFolder(GetServiceBinaryFile(szConfigured))) << szConfigured;
    }
}
