# pellam_embed_updater(TARGET IDENTIFIER id VERSION version BUILD integer [CONTENTS folder] [ANCHORS file] [LANGUAGES de en ...])
# Puts the launcher service, the installer helper and the texts into the bundle of an application each time that it
# is linked, which a change of any of them brings about as well. On Apple's systems TARGET is a MACOSX_BUNDLE and CONTENTS needs no stating. Elsewhere CONTENTS is
# <binary folder>/<TARGET>.app/Contents unless stated; the program itself, the signing tool and the unpacker are put
# into it as well and, when given, the certificates that releases must chain to. The Info.plist of the application
# stays the application's own. Where the components are a shared library (BUILD_SHARED_LIBS), the one that TARGET links is put
# into Contents/Frameworks, and TARGET looks for it there alone. The texts come in English and in the languages that the bundle's Resources have folders
# for, unless LANGUAGES names others, or "all": a system takes each such folder for a language that the application speaks. Sign the result, the service first.

function(pellam_embed_updater target)
  cmake_parse_arguments(ARG "" "IDENTIFIER;VERSION;BUILD;CONTENTS;ANCHORS" "LANGUAGES" ${ARGN})
  foreach(name IDENTIFIER VERSION BUILD)
    if("${ARG_${name}}" STREQUAL "")
      message(FATAL_ERROR "pellam_embed_updater(${target}): ${name} is missing")
    endif()
  endforeach()
  set(programs PellamUpdateInstaller PellamUpdateInstallerLauncherService)
  set(tools "")
  if(APPLE)
    if(NOT ARG_CONTENTS)
      set(ARG_CONTENTS "$<TARGET_BUNDLE_CONTENT_DIR:${target}>")
    endif()
  else()
    if(NOT ARG_CONTENTS)
      set(ARG_CONTENTS "${CMAKE_CURRENT_BINARY_DIR}/${target}.app/Contents")
    endif()
    list(APPEND programs pellam-codesign pellam-ditto)
    set(tools "pellam-codesign,pellam-ditto")
  endif()
  add_dependencies(${target} ${programs})
  file(GLOB_RECURSE parts "${CMAKE_CURRENT_FUNCTION_LIST_DIR}/../localization/*.strings")
  if(ARG_ANCHORS)
    cmake_path(ABSOLUTE_PATH ARG_ANCHORS BASE_DIRECTORY "${CMAKE_CURRENT_SOURCE_DIR}")
  endif()
  list(APPEND parts ${ARG_ANCHORS} "${CMAKE_CURRENT_FUNCTION_LIST_DIR}/EmbedUpdaterScript.cmake"
    "${CMAKE_CURRENT_FUNCTION_LIST_DIR}/LauncherServiceInfo.plist.in")
  foreach(program IN LISTS programs)
    list(APPEND parts "$<TARGET_FILE:${program}>")
  endforeach()
  set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS "${parts}")
  list(JOIN ARG_LANGUAGES "," languages)
  set(libraries "")
  foreach(product Updater Core)
    set(library PellamUpdaterLibrary)
    if(product STREQUAL "Core")
      set(library PellamHostLibrary)
    endif()
    if(TARGET ${library})
      get_target_property(type ${library} TYPE)
      if(type STREQUAL "SHARED_LIBRARY")
        set(is_linked "$<IN_LIST:Pellam::${product},$<TARGET_PROPERTY:${target},LINK_LIBRARIES>>")
        string(APPEND libraries "$<${is_linked}:$<TARGET_SONAME_FILE:${library}>>")
        set(origin "$<IF:$<PLATFORM_ID:Darwin>,@executable_path,$ORIGIN>")
        set_target_properties(${target} PROPERTIES BUILD_WITH_INSTALL_RPATH ON INSTALL_RPATH "${origin}/../Frameworks")
      endif()
    endif()
  endforeach()
  add_custom_command(TARGET ${target} POST_BUILD
    COMMAND "${CMAKE_COMMAND}" "-DCONTENTS=${ARG_CONTENTS}"
      "-DPROGRAMS=$<TARGET_FILE_DIR:PellamUpdateInstaller>" "-DIDENTIFIER=${ARG_IDENTIFIER}"
      "-DVERSION=${ARG_VERSION}" "-DBUILD=${ARG_BUILD}" "-DANCHORS=${ARG_ANCHORS}" "-DTOOLS=${tools}" "-DLIBRARY=${libraries}"
      "-DLANGUAGES=${languages}"
      -P "${CMAKE_CURRENT_FUNCTION_LIST_DIR}/EmbedUpdaterScript.cmake"
    VERBATIM)
  if(NOT APPLE)
    add_custom_command(TARGET ${target} POST_BUILD
      COMMAND "${CMAKE_COMMAND}" -E copy "$<TARGET_FILE:${target}>" "${ARG_CONTENTS}/MacOS/"
      VERBATIM)
  endif()
endfunction()
