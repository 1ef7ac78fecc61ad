corvix_library(corvix_jet_schema
  SOURCES catalog.cpp catalog_writer.cpp check_catalog.cpp check_context.cpp check_definition.cpp check_index.cpp
          check_long_values.cpp check_pages.cpp check_rows.cpp header_page.cpp jet_check.cpp jet_create.cpp
          property_map.cpp schema_plan.cpp system_tables.cpp table_definition.cpp table_definition_writer.cpp
          utf16_bytes.cpp
  DEPENDS corvix_jet_pages corvix_jet_index corvix_core corvix_storage_base corvix_common fmt::fmt)
