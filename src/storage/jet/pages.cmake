corvix_library(corvix_jet_pages
  SOURCES damage.cpp page.cpp pager.cpp rc4.cpp
  DEPENDS corvix_core corvix_storage_base corvix_common fmt::fmt)
