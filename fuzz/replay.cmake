# ml_add_fuzz_replay(NAME ENTRY SERIES CORPUS FOLDER [DEFINES ...] LINKS ...):
# a fuzz entry built without libFuzzer, with replay_driver.cpp's main and the
# file SERIES that makes its seeds (both named relative to fuzz/), run under
# ctest as NAME over every file of fuzz/corpus/FOLDER, as it is and mutated.
# Included by the test folders that own the entries' subsystems.
function(ml_add_fuzz_replay name entry series)
  cmake_parse_arguments(R "" "CORPUS" "DEFINES;LINKS" ${ARGN})
  set(_fuzz ${CMAKE_SOURCE_DIR}/fuzz)
  add_executable(${name} ${_fuzz}/${entry} ${_fuzz}/${series} ${_fuzz}/replay_driver.cpp)
  target_include_directories(${name} PRIVATE ${CMAKE_SOURCE_DIR})
  target_compile_definitions(${name} PRIVATE ${R_DEFINES})
  target_link_libraries(${name} PRIVATE ${R_LINKS})
  add_test(NAME ${name} COMMAND ${name} ${_fuzz}/corpus/${R_CORPUS})
  set_tests_properties(${name} PROPERTIES TIMEOUT 120)
endfunction()
