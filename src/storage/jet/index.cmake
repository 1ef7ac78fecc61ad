corvix_library(corvix_jet_index
  SOURCES collation.cpp collation_table.cpp default_value.cpp field_names.cpp index_cursor.cpp index_key.cpp index_page.cpp
          index_set.cpp index_tree.cpp jet_database.cpp jet_file.cpp jet_record_set.cpp open_table.cpp relations.cpp
  DEPENDS corvix_jet_pages corvix_jet_schema corvix_core corvix_storage_base corvix_common fmt::fmt)
