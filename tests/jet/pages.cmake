corvix_tests(jet_pages_tests jet
  SOURCES pages_codec_test.cpp pages_journal_test.cpp pages_page_test.cpp pages_pager_test.cpp pages_real_test.cpp pages_rows_test.cpp pages_usage_map_test.cpp
  DEPENDS corvix_jet_schema corvix_jet_pages)
