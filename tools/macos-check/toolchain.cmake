# Builds for macOS on a system that is none, against the declarations and link stubs of this folder. Only for
# check.py, which prepares PELLAM_CHECK_WORK; what comes out of it cannot run anywhere.
set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_PROCESSOR arm64)
set(CMAKE_OSX_DEPLOYMENT_TARGET "13.5" CACHE STRING "")
set(CMAKE_OSX_ARCHITECTURES "arm64" CACHE STRING "")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES PELLAM_CHECK_WORK PELLAM_CHECK_LLVM PELLAM_CHECK_C_FLAGS
  PELLAM_CHECK_CXX_FLAGS)
set(CMAKE_OSX_SYSROOT "${PELLAM_CHECK_WORK}/sysroot" CACHE PATH "")
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)

foreach(language C CXX OBJCXX)
  set(CMAKE_${language}_COMPILER_TARGET arm64-apple-macos13.5)
  set(CMAKE_${language}_FLAGS_INIT "${PELLAM_CHECK_CXX_FLAGS}")
endforeach()
set(CMAKE_C_FLAGS_INIT "${PELLAM_CHECK_C_FLAGS}")
set(CMAKE_C_COMPILER "${PELLAM_CHECK_LLVM}/bin/clang")
set(CMAKE_CXX_COMPILER "${PELLAM_CHECK_LLVM}/bin/clang++")
set(CMAKE_OBJCXX_COMPILER "${PELLAM_CHECK_LLVM}/bin/clang++")
set(CMAKE_AR "${PELLAM_CHECK_LLVM}/bin/llvm-ar" CACHE FILEPATH "")
set(CMAKE_RANLIB "${PELLAM_CHECK_LLVM}/bin/llvm-ranlib" CACHE FILEPATH "")
set(CMAKE_INSTALL_NAME_TOOL "${PELLAM_CHECK_LLVM}/bin/llvm-install-name-tool" CACHE FILEPATH "")
set(CMAKE_EXE_LINKER_FLAGS_INIT "--ld-path=${PELLAM_CHECK_LLVM}/bin/ld64.lld -mlinker-version=820 -nostdlib -lc++ -lobjc -lSystem")
