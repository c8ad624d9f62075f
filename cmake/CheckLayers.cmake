# Fails when a source file includes a header of a layer above its own.
#
#   cmake -DSOURCE_DIR=<repository> -P cmake/CheckLayers.cmake
#
# Each folder of src/ may include its own headers and those of the folders
# listed for it below, nothing else; server/ sits beside the desktop and the
# command line and may use only the pure layers. "pellum/build_config.h" (the
# generated build configuration) is open to every layer.

cmake_minimum_required(VERSION 3.25)

set(allowed_base "")
set(allowed_wayland "base")
set(allowed_transcription "base;wayland")
set(allowed_audio "base")
set(allowed_account "base;transcription")
set(allowed_settings "base;transcription;audio")
set(allowed_keyboard "base;wayland")
set(allowed_ui "base;wayland;transcription;audio")
set(allowed_history "base;transcription")
set(allowed_update "base;transcription")
set(allowed_app "base;wayland;transcription;audio;account;settings;keyboard;ui;history;update")
set(allowed_cli "base;wayland;transcription;audio;account;settings;keyboard;ui;history;update")
set(allowed_main "base;wayland;transcription;audio;account;settings;keyboard;ui;history;update;app;cli")
set(allowed_server "base;transcription;audio;account")
set(layers base wayland transcription audio account settings keyboard ui history update app cli)

if(NOT SOURCE_DIR)
  get_filename_component(SOURCE_DIR "${CMAKE_CURRENT_LIST_DIR}/.." ABSOLUTE)
endif()

file(GLOB_RECURSE sources RELATIVE "${SOURCE_DIR}"
  "${SOURCE_DIR}/src/*.h" "${SOURCE_DIR}/src/*.cpp" "${SOURCE_DIR}/src/*.mm"
  "${SOURCE_DIR}/server/*.h" "${SOURCE_DIR}/server/*.cpp")

set(violations "")
set(checked 0)
foreach(source IN LISTS sources)
  if(source MATCHES "^server/")
    set(layer server)
  elseif(source MATCHES "^src/([^/]+)/")
    set(layer "${CMAKE_MATCH_1}")
    if(NOT layer IN_LIST layers)
      string(APPEND violations "  ${source}: the folder src/${layer} has no place in the layer list\n")
      continue()
    endif()
  else()
    set(layer main)  # src/main.cpp, the entry point
  endif()
  math(EXPR checked "${checked} + 1")
  file(STRINGS "${SOURCE_DIR}/${source}" includes REGEX "^[ \t]*#[ \t]*include[ \t]+\"[^\"/]+/")
  foreach(line IN LISTS includes)
    string(REGEX REPLACE "^[ \t]*#[ \t]*include[ \t]+\"([^\"/]+)/.*$" "\\1" target "${line}")
    if(target STREQUAL "pellum" OR target STREQUAL layer)
      continue()
    endif()
    if(NOT target IN_LIST allowed_${layer})
      string(REPLACE ";" ", " open "${allowed_${layer}}")
      string(STRIP "${line}" line)
      string(APPEND violations "  ${source}: ${line} (${layer} may include only: ${open})\n")
    endif()
  endforeach()
endforeach()

if(violations)
  message(FATAL_ERROR "A lower layer includes a higher one:\n${violations}")
endif()
message(STATUS "Layers: ${checked} files, no include reaches up")
