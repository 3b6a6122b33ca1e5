// Each property reader's limit, shown at the length where it shows: a read has room
// for 259 characters and fails from 260 on, with no second try.
#include "tests/support/cases.h"

using namespace cases;

namespace {

const std::wstring kPackages = L"SOFTWARE\\ORX Technologies\\Install\\Packages";

// SetDisplayMode gives each read after the width the length the one before left,
// so a height as long as a width that fits does not: it leaves 258 characters, and
// the mode line overflows the 520-character buffer.
const std::wstring kWidth(259, L'1');
const std::wstring kMode = kWidth + L";" + std::wstring(258, L'2') + L";32;6;";

const int kLongProperties = Register({
    {.szName = "a package ID of 260 characters cannot be read",
     .szAction = "CleanRegistry",
     .data = std::wstring(260, L'x'),
     .before = {Key(NW, kPackages + L"\\W-05")},
     .uReturn = 1627},
    {.szName = "a width of 259 characters fits, a height as long does not",
     .szAction = "SetDisplayMode",
     .properties = {{L"DisplayWidth", kWidth},
                    {L"DisplayHeight", std::wstring(259, L'2')},
                    {L"DisplayBpp", L"32"},
                    {L"DisplayFreq", L"60"}},
     .lines = {L"Varen_CA SetDisplayMode() start", L"VAREN_CA DisplayWidth: " + kWidth + L" \n",
               L"VAREN_CA Could not get DisplayHeight. Default to 768  \n",
               L"VAREN_CA DisplayBpp: 32 \n",
               L"VAREN_CA Could not get DisplayFreq. Default to 60  \n", L"CA buffer overflow\n"},
     .set = {{L"DisplayModeChange", kMode}}},
});

} // namespace
