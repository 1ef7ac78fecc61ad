# corvix_library(NAME SOURCES ... DEPENDS ...): one static library per directory, with its dependencies stated.
function(corvix_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPENDS" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR}/src)
  target_link_libraries(${name} PUBLIC ${ARG_DEPENDS} PRIVATE corvix_warnings)
endfunction()

# corvix_tests(NAME LABEL SOURCES ... DEPENDS ...): one GoogleTest program, its cases known to CTest under LABEL.
function(corvix_tests name label)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPENDS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  target_compile_definitions(${name} PRIVATE CORVIX_SOURCE_DIR="${PROJECT_SOURCE_DIR}")
  # GCC 12 sees absurd bounds in optimised three-way comparisons of byte vectors, which only tests make.
  target_compile_options(${name} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-Wno-stringop-overread>)
  target_link_libraries(${name} PRIVATE ${ARG_DEPENDS} GTest::gmock GTest::gtest_main corvix_warnings)
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES LABELS ${label} TIMEOUT 300)
endfunction()
