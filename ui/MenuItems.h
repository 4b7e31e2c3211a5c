#pragma once

/// The numbers that stand for the items of the editor's menus.
namespace MenuItems
{

// The plug-in's menu
inline constexpr int about = 0x2001;
inline constexpr int help = 0x2002;

// The menu of presets
inline constexpr int savePreset = 0x2010;
inline constexpr int loadPreset = 0x2011;

// The themes
inline constexpr int simplisticDark = 0x2020;
inline constexpr int brushedSteel = 0x2021;

/// The preset with index 0; the others follow.
inline constexpr int firstPreset = 0x2100;

} // namespace MenuItems
