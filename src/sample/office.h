// Invented appraisers' offices: addresses, prices, dates in the untidy forms that people type, photos. Record
// i of an office depends on the seed and i alone, so that any number of records can be streamed in bounded
// memory and two runs with one seed give the same data.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace corvix::sample {

struct OfficeOptions {
  std::uint64_t seed = 1;
  std::int64_t records = 1000;  ///< live central records with a key of their own
  int duplicates_percent = 40;  ///< of the keys that the target already holds
};

/// The fields of a central record, as text.
struct CentralRecord {
  std::string key, address, address2, city, st, zip, county, subdiv, census, mapref, lotsize, owner;
};

/// The fields of a comps record, as text; load_date is YYYYMMDD, pool T or F.
struct CompsRecord {
  std::string key, load_date, neighborhood, selling_price, data_source, days_on_market, sale_date, year_built,
      room_count, bedrooms, baths, gla, story_code, style_code, condition, garage, pool, comments;
};

/// taken is YYYYMMDD.
struct PhotoRecord {
  std::string key, picture_id, view, taken;
};

/// One property with all that the office holds about it.
struct Property {
  CentralRecord central;
  std::vector<CompsRecord> comps;  ///< none or one
  std::vector<PhotoRecord> photos;
  bool in_target = false;  ///< the target already has the key
};

/// Keys of different indexes differ. `index` counts from 0, below OfficeOptions::records.
Property MakeProperty(const OfficeOptions& options, std::int64_t index);

/// The greatest number of records with keys of their own.
inline constexpr std::int64_t kMaxRecords = 1'000'000;

}  // namespace corvix::sample
