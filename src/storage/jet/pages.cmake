corvix_library(corvix_jet_pages
  SOURCES cell_space.cpp checksum.cpp damage.cpp journal.cpp journal_recovery.cpp long_value.cpp page.cpp pager.cpp rc4.cpp row_codec.cpp text_codec.cpp table_rows.cpp usage_map.cpp
  DEPENDS corvix_core corvix_storage_base corvix_common fmt::fmt)
