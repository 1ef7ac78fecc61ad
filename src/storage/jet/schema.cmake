corvix_library(corvix_jet_schema
  SOURCES catalog.cpp header_page.cpp property_map.cpp table_definition.cpp table_definition_writer.cpp utf16_bytes.cpp
  DEPENDS corvix_jet_pages corvix_core corvix_storage_base corvix_common fmt::fmt)
