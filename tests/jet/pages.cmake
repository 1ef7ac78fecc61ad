corvix_tests(jet_pages_tests jet
  SOURCES pages_pager_test.cpp
  DEPENDS corvix_jet_pages)
