#pragma once

#include <string_view>

namespace tarvelo {

// The reverse-DNS name the desktop knows this program by: the desktop entry,
// the AppStream id, the icon and the autostart entry are all named after it.
inline constexpr std::string_view kApplicationId = TARVELO_APPLICATION_ID;
inline constexpr std::string_view kApplicationVersion = TARVELO_VERSION;

// Where an install puts the program and its shared data, relative to the
// install prefix ("bin" and "share" on a standard install).
inline constexpr std::string_view kInstallBinDir = TARVELO_INSTALL_BINDIR;
inline constexpr std::string_view kInstallDataDir = TARVELO_INSTALL_DATADIR;

}  // namespace tarvelo

namespace tarvelo {

// Names the application for Qt before anything else runs: the settings file
// (still Tarvelo/Tarvelo.conf in the user's configuration folder, where every
// earlier version kept it), the version --version prints, and an organisation
// domain that, reversed and followed by the name, gives the application id.
void applyApplicationIdentity();

}  // namespace tarvelo
