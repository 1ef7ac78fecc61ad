corvix_tests(jet_index_tests jet
  SOURCES index_database_test.cpp index_files_test.cpp index_history_test.cpp index_key_test.cpp index_record_set_test.cpp
          index_tree_check.cpp index_tree_test.cpp ../support/folvane_schema.cpp
  DEPENDS corvix_jet)
