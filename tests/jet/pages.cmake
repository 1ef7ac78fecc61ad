corvix_tests(jet_pages_tests jet
  SOURCES pages_page_test.cpp pages_pager_test.cpp
  DEPENDS corvix_jet_schema corvix_jet_pages)
