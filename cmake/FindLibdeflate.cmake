# Finds libdeflate with its header and makes the target libdeflate::libdeflate. CMAKE_PREFIX_PATH says where else to look.
find_path(Libdeflate_INCLUDE_DIR libdeflate.h)
find_library(Libdeflate_LIBRARY deflate)
mark_as_advanced(Libdeflate_INCLUDE_DIR Libdeflate_LIBRARY)
include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(Libdeflate REQUIRED_VARS Libdeflate_LIBRARY Libdeflate_INCLUDE_DIR)
if(Libdeflate_FOUND AND NOT TARGET libdeflate::libdeflate)
  add_library(libdeflate::libdeflate UNKNOWN IMPORTED)
  set_target_properties(libdeflate::libdeflate PROPERTIES
    IMPORTED_LOCATION "${Libdeflate_LIBRARY}"
    INTERFACE_INCLUDE_DIRECTORIES "${Libdeflate_INCLUDE_DIR}")
endif()
