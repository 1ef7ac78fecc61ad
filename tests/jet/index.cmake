corvix_tests(jet_index_tests jet
  SOURCES index_files_test.cpp index_key_test.cpp index_tree_check.cpp index_tree_test.cpp
  DEPENDS corvix_jet_index)
