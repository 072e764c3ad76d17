# Every target of the build reads the library headers in the form that check.py has compiled once.
cmake_language(DEFER CALL target_compile_options PellamOptions INTERFACE
  "$<$<COMPILE_LANGUAGE:CXX>:-include-pch;${PELLAM_CHECK_CXX_PREFIX}>"
  "$<$<COMPILE_LANGUAGE:OBJCXX>:-include-pch;${PELLAM_CHECK_OBJCXX_PREFIX}>")
