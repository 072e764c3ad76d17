find_package(PkgConfig REQUIRED)
pkg_check_modules(GTK4 REQUIRED IMPORTED_TARGET gtk4>=4.8)
pellam_program(ui_benchmark
  SOURCES ui_benchmark.cpp
  LINKS PellamUpdatesAppKitUI PellamPlatformWindows PellamPlatformSystem PkgConfig::GTK4)
