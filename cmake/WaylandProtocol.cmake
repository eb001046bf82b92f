# tamsell_wayland_protocol(name client|server staging/folder/file): a library ${name}_${side} of the
# code that wayland-scanner makes of a protocol of wayland-protocols. It is C and none of ours, so
# it is built without our warnings.
enable_language(C)
find_program(WAYLAND_SCANNER wayland-scanner REQUIRED)
pkg_get_variable(WAYLAND_PROTOCOLS wayland-protocols pkgdatadir)
if(NOT WAYLAND_PROTOCOLS)
  message(FATAL_ERROR "wayland-protocols is missing")
endif()

function(tamsell_wayland_protocol name side protocol)
  set(xml "${WAYLAND_PROTOCOLS}/${protocol}.xml")
  cmake_path(GET protocol FILENAME file)
  set(directory "${CMAKE_CURRENT_BINARY_DIR}/${name}_${side}")
  set(header "${directory}/${file}-${side}-protocol.h")
  set(code "${directory}/${file}-protocol.c")
  add_custom_command(OUTPUT "${header}" "${code}"
    COMMAND ${CMAKE_COMMAND} -E make_directory "${directory}"
    COMMAND ${WAYLAND_SCANNER} ${side}-header "${xml}" "${header}"
    COMMAND ${WAYLAND_SCANNER} private-code "${xml}" "${code}"
    DEPENDS "${xml}" VERBATIM)
  add_library(${name}_${side} STATIC "${code}" "${header}")
  target_include_directories(${name}_${side} SYSTEM INTERFACE "${directory}")
  target_link_libraries(${name}_${side} PUBLIC PkgConfig::wayland_${side})
endfunction()
