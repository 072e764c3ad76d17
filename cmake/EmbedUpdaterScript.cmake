# Puts the update component into the Contents folder of an application bundle. Run by pellam_embed_updater() and,
# for bundles that are put together by hand, with
#   cmake -DCONTENTS=… -DPROGRAMS=… -DIDENTIFIER=… -DVERSION=… -DBUILD=… [-DANCHORS=…] [-DTOOLS=…] [-DSTRIP=…]
#         [-DLANGUAGES=…] -P EmbedUpdaterScript.cmake
# CONTENTS    the bundle's Contents folder, which is made when it is missing
# PROGRAMS    the folder with the built programs
# IDENTIFIER  the application's bundle identifier; the service is named after it
# VERSION     the application's version and BUILD its build, which the service carries as well
# TOOLS       further programs for Contents/MacOS, separated by commas
# ANCHORS     a file of certificates, copied to Contents/Resources/CodeSigningAnchors.pem
# LANGUAGES   the languages of the texts besides English, separated by commas, or "all"; by default those for which
#             Contents/Resources has a folder
# LIBRARY     the shared library that the application links, if it does
# STRIP       the program that takes the symbols out of the copies
# What an earlier run put there is replaced; nothing else is touched. Sign afterwards, the service first.
cmake_minimum_required(VERSION 3.25)
foreach(name CONTENTS PROGRAMS IDENTIFIER VERSION BUILD)
  if("${${name}}" STREQUAL "")
    message(FATAL_ERROR "pellam_embed_updater: ${name} is missing")
  endif()
endforeach()
if(NOT IDENTIFIER MATCHES "^[A-Za-z0-9.-]+$")
  message(FATAL_ERROR "pellam_embed_updater: \"${IDENTIFIER}\" is no bundle identifier")
endif()
if(NOT BUILD MATCHES "^[0-9]+$")
  message(FATAL_ERROR "pellam_embed_updater: the build must be an integer, not \"${BUILD}\"")
endif()

function(embed_program name folder)
  if(NOT EXISTS "${PROGRAMS}/${name}")
    message(FATAL_ERROR "pellam_embed_updater: there is no ${name} in ${PROGRAMS}")
  endif()
  file(MAKE_DIRECTORY "${folder}")
  # A running copy keeps its own file.
  file(REMOVE "${folder}/${name}")
  file(COPY "${PROGRAMS}/${name}" DESTINATION "${folder}"
    FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
  if(STRIP)
    execute_process(COMMAND "${STRIP}" "${folder}/${name}" RESULT_VARIABLE result)
    if(result)
      message(FATAL_ERROR "pellam_embed_updater: ${STRIP} failed for ${name}")
    endif()
  endif()
endfunction()

set(SERVICE_EXECUTABLE PellamUpdateInstallerLauncherService)
set(SERVICE_IDENTIFIER "${IDENTIFIER}.Pellam.UpdateInstallerLauncherService")
set(SERVICE_CONTENTS "${CONTENTS}/XPCServices/${SERVICE_IDENTIFIER}.xpc/Contents")
embed_program(${SERVICE_EXECUTABLE} "${SERVICE_CONTENTS}/MacOS")
configure_file("${CMAKE_CURRENT_LIST_DIR}/LauncherServiceInfo.plist.in" "${SERVICE_CONTENTS}/Info.plist" @ONLY)

string(REPLACE "," ";" tools "${TOOLS}")
foreach(program PellamUpdateInstaller ${tools})
  embed_program(${program} "${CONTENTS}/MacOS")
endforeach()

if(LIBRARY)
  file(MAKE_DIRECTORY "${CONTENTS}/Frameworks")
  get_filename_component(name "${LIBRARY}" NAME)
  file(COPY_FILE "${LIBRARY}" "${CONTENTS}/Frameworks/${name}" ONLY_IF_DIFFERENT)
endif()

# The texts of the component's own windows, one table for each language. A table of an earlier run goes; with it goes the
# folder that only it has kept.
file(GLOB tables LIST_DIRECTORIES TRUE "${CMAKE_CURRENT_LIST_DIR}/../localization/*.lproj")
string(REPLACE "," ";" wanted "${LANGUAGES}")
set(unknown ${wanted})
foreach(table IN LISTS tables)
  get_filename_component(language "${table}" NAME_WLE)
  set(folder "${CONTENTS}/Resources/${language}.lproj")
  file(REMOVE "${folder}/Updates.strings")
  file(GLOB others "${folder}/*")
  if(IS_DIRECTORY "${folder}" AND NOT others)
    file(REMOVE_RECURSE "${folder}")
  endif()
  if(language STREQUAL "en" OR wanted STREQUAL "all" OR language IN_LIST wanted OR (NOT wanted AND others))
    file(COPY "${table}" DESTINATION "${CONTENTS}/Resources")
  endif()
  list(REMOVE_ITEM unknown "${language}" all)
endforeach()
if(unknown)
  message(FATAL_ERROR "pellam_embed_updater: there are no texts in the language \"${unknown}\"")
endif()
if(ANCHORS)
  file(READ "${ANCHORS}" certificates)
  file(WRITE "${CONTENTS}/Resources/CodeSigningAnchors.pem" "${certificates}")
endif()
