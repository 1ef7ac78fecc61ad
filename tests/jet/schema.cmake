corvix_tests(jet_schema_tests jet
  SOURCES schema_check_test.cpp schema_create_test.cpp schema_definition_test.cpp schema_example_test.cpp
          schema_sample.cpp ../support/folvane_schema.cpp
  DEPENDS corvix_jet_schema)
