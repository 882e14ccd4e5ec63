# lexpand_program(NAME SOURCE...): the command-line program NAME, built from
# SOURCE..., the engine and the programs' messages (cli/), installed into bin/ with the other programs. Its
# manual page, docs/man/NAME.1.md when it exists, is made and installed with
# every other page of docs/man (docs/CMakeLists.txt).
#
#   lexpand_program(lexpand-lookup main.cpp)
function(lexpand_program name)
  add_executable(${name} ${ARGN})
  target_link_libraries(${name} PRIVATE lexpand_engine lexpand_cli)
  install(TARGETS ${name} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT programs)
endfunction()
