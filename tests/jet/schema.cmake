corvix_tests(jet_schema_tests jet
  SOURCES schema_definition_test.cpp
  DEPENDS corvix_jet_schema)
