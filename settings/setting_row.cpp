#include "settings/setting_row.h"

namespace zrtmon {

namespace {
constexpr SettingRow kEndRow = {SettingRow::kEndIndex, "", -1, -1, -1};
}

// clang-format off
const SettingRow EepromSettingsTable[] = {
    {0, "Image Darkness", -128, 127, 1},
    {1, "Print Top of Form", -128, 127, 1},
    {2, "Print End of Form", -128, 127, 1},
    {3, "Print Left of Form", -75, 15, 1},
    {4, "Mag Hi-Co Voltage Offset", -55, 55, 1},
    {5, "Mag Lo-Co Voltage Offset", -55, 55, 1},
    {6, "Mag Top of Form", -128, 127, 1},
    {7, "Mag End of Form", -128, 127, 0},
    {8, "BlueLED", -128, 127, 0},
    {9, "YellowLED", -128, 127, 0},
    {10, "RibbonOffset", -128, 127, 0},
    {11, "FeedPWM", -128, 127, 0},
    {12, "Ribbon Tension", -128, 127, 1},
    {13, "HeadLiftPWM", -128, 127, 0},
    {14, "ReWinderPWM", -128, 127, 0},
    {15, "StepperPWM", -128, 127, 0},
    {16, "LCD Contrast", -128, 127, 1},
    {17, "RibYellowOnly", -128, 127, 0},
    {18, "Resin Heat Adjust", -128, 127, 1},
    {19, "TransitionDeltaOverlayYellow", 0, 127, 1},
    {20, "TransitionDeltaYellowMagenta", 0, 127, 1},
    kEndRow,
};

const SettingRow FlipperSettingsTable[] = {
    {0, "Flipper Home Offset", -5, 5, 1},
    {1, "Flipper Center Offset", -128, 127, 1},
    {2, "Flipper Smart Angle Offset", -5, 5, 1},
    {3, "Flipper Prox Offset", -128, 127, 1},
    {4, "Flipper Prox Angle Offset", -128, 127, 1},
    kEndRow,
};
// clang-format on

} // namespace zrtmon
