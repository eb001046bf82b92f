# Whatever makes builds short is used where it is installed, and is never required.
find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM)
  # Precompiled headers are cached only when ccache may ignore the macros they pull in.
  set(CMAKE_CXX_COMPILER_LAUNCHER
      ${CMAKE_COMMAND} -E env CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime
      CCACHE_PCH_EXTSUM=1 ${CCACHE_PROGRAM})
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    add_compile_options(-fpch-preprocess)
  endif()
endif()

find_program(MOLD_PROGRAM mold)
if(MOLD_PROGRAM)
  add_link_options(-fuse-ld=mold)
endif()

include(CheckPIESupported)
check_pie_supported()
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
