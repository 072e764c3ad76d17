# Each row that needs a program or a library of others is left out where that is not installed.
find_library(LIBPLIST_LIBRARY plist-2.0)
if(LIBPLIST_LIBRARY)
  pellam_program(property_list_benchmark
    SOURCES property_list_benchmark.cpp
    LINKS PellamPlatformPropertyList ${LIBPLIST_LIBRARY})
endif()
find_library(LIBRPMIO_LIBRARY rpmio)
if(LIBRPMIO_LIBRARY)
  pellam_program(version_benchmark SOURCES version_benchmark.cpp LINKS PellamFoundation ${LIBRPMIO_LIBRARY})
endif()
pellam_program(feed_benchmark SOURCES feed_benchmark.cpp LINKS PellamUpdatesCore)
pellam_program(unpacking_benchmark
  SOURCES unpacking_benchmark.cpp
  LINKS PellamArchive PellamZipBuilder)
add_dependencies(unpacking_benchmark pellam-ditto)
