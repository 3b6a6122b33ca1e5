// A property read has room for 259 characters and fails from 260 on, with no second
// try; CleanRegistry returns its own code for that.
#include "tests/support/cases.h"

using namespace cases;

namespace {

const int kLongProperties = Register({
    {.szName = "a package ID of 260 characters cannot be read",
     .szAction = "CleanRegistry",
     .data = std::wstring(260, L'x'),
     .before = {Key(NW, L"SOFTWARE\\ORX Technologies\\Install\\Packages\\W-05")},
     .uReturn = 1627},
});

} // namespace
