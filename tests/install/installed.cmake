# What is installed works for those who have nothing else; installed_test.sh has the cases.
string(REGEX REPLACE "(.+)" "-fsanitize=\\1" sanitizer_flags "${KELVANE_SANITIZE}")
foreach(case
    every_header_stands_alone
    pkg_config_finds_it
    find_package_finds_it
    monitor_says_what_is_wrong
    monitor_watches_until_interrupted)
  add_test(NAME install.${case} COMMAND ${CMAKE_CURRENT_LIST_DIR}/installed_test.sh ${case})
  set_tests_properties(install.${case} PROPERTIES
    TIMEOUT 120
    ENVIRONMENT "CMAKE=${CMAKE_COMMAND};BUILD=${CMAKE_BINARY_DIR};CC=${CMAKE_C_COMPILER};CXX=${CMAKE_CXX_COMPILER};CFLAGS=-g ${sanitizer_flags}")
endforeach()
