#include "tests/support/session_support.h"

#include <gtest/gtest.h>

using Lines = std::vector<std::wstring>;

TEST(GetInstallA4Dir, HandsInstallDirToDeleteInstallA4) {
    ActionSession session(WithProperties({{L"INSTALLDIR", L"C:\\Program Files\\ORX\\"}}));
    EXPECT_EQ(0u, session.Call("GetInstallA4Dir"));
    EXPECT_EQ((Lines{L"Varen_CA GetInstallA4Dir() start",
                     L"Varen_CA DeleteInstallA4, C:\\Program Files\\ORX\\ should be set in CustomActionData \n"}),
              session.Lines());
    EXPECT_EQ(L"C:\\Program Files\\ORX\\", session.Property(L"DeleteInstallA4"));
}
