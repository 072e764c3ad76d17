pellam_program(ui_benchmark
  SOURCES ui_benchmark.cpp
  LINKS PellamUpdatesAppKitUI PellamPlatformWindows PellamPlatformWorkspace PellamPlatformSystem PkgConfig::PELLAM_GTK4)
