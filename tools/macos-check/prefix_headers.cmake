# Every target of the build reads the library headers in the form that check.py has compiled once, and has its warnings
# refused; GoogleTest, which is none of them, is built as it comes.
cmake_language(DEFER CALL target_compile_options PellamOptions INTERFACE ${PELLAM_CHECK_WARNINGS}
  "$<$<COMPILE_LANGUAGE:CXX>:-include-pch;$<IF:$<BOOL:$<FILTER:$<TARGET_PROPERTY:NAME>,INCLUDE,Tests$>>,${PELLAM_CHECK_TESTS_PREFIX},${PELLAM_CHECK_CXX_PREFIX}>>"
  "$<$<COMPILE_LANGUAGE:OBJCXX>:-include-pch;${PELLAM_CHECK_OBJCXX_PREFIX}>")
