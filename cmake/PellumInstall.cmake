# Install helpers for the files that ship beside the programs.

find_program(PELLUM_GZIP gzip REQUIRED)

# pellum_gzip(SOURCE OUTPUT TARGET): configures SOURCE (@PROJECT_VERSION@ and
# the like) and compresses it into OUTPUT at build time, as a target of the
# default build. Debian wants man pages and changelogs compressed; -n leaves
# the name and time stamp out, so the same source gives the same bytes.
function(pellum_gzip source output target)
  get_filename_component(output_dir ${output} DIRECTORY)
  string(REGEX REPLACE "\\.gz$" "" plain ${output})
  configure_file(${source} ${plain} @ONLY)
  add_custom_command(OUTPUT ${output}
    COMMAND ${PELLUM_GZIP} -9nkf ${plain}
    DEPENDS ${plain}
    WORKING_DIRECTORY ${output_dir}
    VERBATIM)
  add_custom_target(${target} ALL DEPENDS ${output})
endfunction()

# pellum_install_man_page(PAGE COMPONENT): PAGE (docs/man/NAME.SECTION)
# configured, compressed and installed to share/man/manSECTION.
function(pellum_install_man_page page component)
  get_filename_component(name ${page} NAME)
  string(REGEX MATCH "[0-9]$" section ${name})
  set(output ${PROJECT_BINARY_DIR}/man/${name}.gz)
  string(REPLACE "." "_" target ${name})
  pellum_gzip(${page} ${output} man_${target})
  install(FILES ${output} DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section} COMPONENT ${component})
endfunction()
