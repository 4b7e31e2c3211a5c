#pragma once

/// Texts that name the plug-in towards hosts and in the names of its files.
namespace KalimConstants
{

inline constexpr const char* bundleName = "Vellacore";
inline constexpr const char* plugInName = "Kalim";
inline constexpr const char* plugInVersion = "1.8.1";

/// "QVRN", the first character in the most significant byte.
inline constexpr unsigned int plugInCode = 0x5156524E;

} // namespace KalimConstants

namespace orvo
{

/// The maker, as shown and as used in folder names.
inline constexpr const char* companyName = "Orvotech";

/// A reserved name, until the maker has a place of its own.
inline constexpr const char* companyWebSite = "https://orvotech.example";

} // namespace orvo
