# What is installed, and where. The programs find one another by these folders (see
# src/platform/Bundle.h), so they are not to be chosen.
#   cmake --install build/release --prefix DIRECTORY [--component runtime|desktop|relay]
# runtime needs no display; desktop adds the windows to it; relay is for a server.
foreach(program tamsell tamsellctl)
  if(TARGET ${program})
    install(TARGETS ${program} RUNTIME DESTINATION bin COMPONENT runtime)
  endif()
endforeach()
if(TARGET tamsell-hook)
  install(TARGETS tamsell-hook RUNTIME DESTINATION libexec/tamsell COMPONENT runtime)
endif()
if(TARGET tamsell-desktop)
  install(TARGETS tamsell-desktop RUNTIME DESTINATION libexec/tamsell COMPONENT desktop)
endif()
if(TARGET tamsell-relay)
  install(TARGETS tamsell-relay RUNTIME DESTINATION bin COMPONENT relay)
endif()
set(pages "${CMAKE_BINARY_DIR}/share/tamsell")
install(FILES "${pages}/app.html" DESTINATION share/tamsell COMPONENT runtime)
install(DIRECTORY "${pages}/phone" DESTINATION share/tamsell COMPONENT relay OPTIONAL)
foreach(folder applications icons metainfo)
  install(DIRECTORY "${CMAKE_BINARY_DIR}/share/${folder}" DESTINATION share COMPONENT desktop)
endforeach()
