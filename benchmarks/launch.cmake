pellam_program(launch_benchmark
  SOURCES launch_benchmark.cpp
  LINKS PellamLauncherClient PellamPlatformServices PellamPlatformSystem
)
