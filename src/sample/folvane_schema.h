// The target database: table COMPS as installations have it.
#pragma once

#include "storage/jet/catalog/jet_create.h"

namespace corvix::sample {

struct FolvaneOptions {
  bool photos_is_text = false;    ///< PHOTOS is text(255) instead of memo
  bool allow_zero_length = true;  ///< of all text and memo columns
};

/// A database with the table COMPS: 35 columns of nine types, five indexes, no rows.
jet::DatabaseDescription FolvaneSchema(const FolvaneOptions& options = {});

}  // namespace corvix::sample
