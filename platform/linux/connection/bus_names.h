#pragma once

// The objects and interfaces of a launcher connection. Part of the wire format: never changed, only added to.
namespace pellam::bus_names {

inline constexpr const char* launcherPath = "/org/pellam/InstallerLauncher";
inline constexpr const char* launcherInterface = "org.pellam.InstallerLauncher1";
inline constexpr const char* launchReplacement = "LaunchReplacement";  // a{sv} -> a{sv}

inline constexpr const char* progressPath = "/org/pellam/InstallerLauncherProgress";
inline constexpr const char* progressInterface = "org.pellam.InstallerLauncherProgress1";
inline constexpr const char* reportProgress = "ReportProgress";  // a{sv}, no reply

// Tells the service which of its descriptors is the connection to its host.
inline constexpr const char* connectionVariable = "PELLAM_LAUNCHER_CONNECTION";

}  // namespace pellam::bus_names
