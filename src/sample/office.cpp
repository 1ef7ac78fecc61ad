#include "sample/office.h"

#include <array>
#include <fmt/format.h>
#include <string_view>

#include "common/text.h"
#include "sample/random.h"

namespace corvix::sample {
namespace {

using Words = std::span<const std::string_view>;

constexpr std::array<std::string_view, 50> kStreets{
    "ALDER",  "ASHFORD", "BAKER",   "BARLEY",   "BIRCH",  "BRIDGE", "CANAL",    "CEDAR",  "CHAPEL",
    "CLOVER", "COOPER",  "CREEK",   "DOGWOOD",  "EAGLE",  "ELM",    "FAIRVIEW", "FERRY",  "FOUNTAIN",
    "GARDEN", "GLEN",    "HARBOR",  "HAWTHORN", "HAZEL",  "HERON",  "HICKORY",  "HILL",   "HOLLY",
    "IRON",   "JUNIPER", "KESTREL", "LAKE",     "LAUREL", "LINDEN", "MAPLE",    "MEADOW", "MILL",
    "OAK",    "ORCHARD", "PARK",    "PINE",     "POPLAR", "QUARRY", "RIVER",    "ROSE",   "SPRING",
    "SPRUCE", "STATION", "SUMMIT",  "WALNUT",   "WILLOW"};
constexpr std::array<std::string_view, 8> kSuffixes{"ST", "AVE", "LN", "CT", "RD", "DR", "PL", "WAY"};
constexpr std::array<std::string_view, 10> kCities{"EASTBROOK", "WESTFORD",  "MILLHAVEN", "NORTH ESKER",
                                                   "SALT FORK", "CEDARTOWN", "OLD FERRY", "KINGSBRIDGE",
                                                   "PORT ALMA", "GRAYFIELD"};
constexpr std::array<std::string_view, 5> kStates{"IL", "MO", "IA", "WI", "IN"};
constexpr std::array<std::string_view, 8> kSubdivisions{"HERON POINT",
                                                        "MILL POND ESTATES",
                                                        "OAK RIDGE 2ND ADD",
                                                        "RIVER BEND",
                                                        "SUMMIT VIEW",
                                                        "THE ORCHARDS",
                                                        "",
                                                        ""};
constexpr std::array<std::string_view, 12> kOwners{"ABBOTT, J & M",
                                                   "BRANDT TRUST",
                                                   "CHÁVEZ, LUIS",
                                                   "DUNN, R.",
                                                   "ESPINOZA, A",
                                                   "FAIRCHILD LLC",
                                                   "GRÜBER, HANS",
                                                   "HOLLIS, P & K",
                                                   "IVERSON ESTATE",
                                                   "JÖRG, T",
                                                   "",
                                                   "KEANE, D"};
constexpr std::array<std::string_view, 6> kSources{"MLS", "COUNTY RECORDS", "AGENT", "OWNER", "DRIVE BY", ""};
constexpr std::array<std::string_view, 5> kConditions{"GOOD", "AVERAGE", "FAIR", "REMODELED", ""};
constexpr std::array<std::string_view, 6> kStyles{"RANCH",    "COLONIAL", "SPLIT",
                                                  "CAPE COD", "BUNGALOW", "2-STORY"};
constexpr std::array<std::string_view, 7> kViews{"FRONT VIEW",  "REAR VIEW", "STREET VIEW", "Kitchen",
                                                 "LIVING ROOM", "GARAGE",    "Front View"};
constexpr std::array<std::string_view, 6> kRemarks{"Well kept home on a corner lot.",
                                                   "Roof replaced recently; no permits seen.",
                                                   "Sold with appliances.  Buyer paid closing cost.",
                                                   "Seller reports water in the basement each spring.",
                                                   "Arm's length sale, verified with the agent.",
                                                   "Interior not inspected - exterior from the street only."};

template <std::size_t N>
std::string_view Pick(Random& random, const std::array<std::string_view, N>& words) {
  return random.Pick(Words(words));
}

/// A key of its own for each index: the index is spread over all combinations of street, suffix and number by
/// a step that has no factor in common with their count.
std::string MakeKey(const OfficeOptions& options, std::int64_t index) {
  constexpr std::uint64_t kNumbers = 9973;
  constexpr std::uint64_t kCombinations = kNumbers * kStreets.size() * kSuffixes.size();
  static_assert(kCombinations > static_cast<std::uint64_t>(kMaxRecords));
  constexpr std::uint64_t kStep = 1'640'531;  // prime, no factor of kCombinations
  const std::uint64_t offset = Random(options.seed).Next() % kCombinations;
  std::uint64_t at = (static_cast<std::uint64_t>(index) * kStep + offset) % kCombinations;
  const auto street = kStreets[at % kStreets.size()];
  at /= kStreets.size();
  const auto suffix = kSuffixes[at % kSuffixes.size()];
  at /= kSuffixes.size();
  return fmt::format("{} {} {}", at + 1, street, suffix);
}

std::string Day(Random& random, int first_year, int last_year) {
  return fmt::format("{:04}{:02}{:02}", random.Between(first_year, last_year), random.Between(1, 12),
                     random.Between(1, 28));
}

/// A sale date as people type it, at most ten characters.
std::string SaleDate(Random& random) {
  constexpr std::array<std::string_view, 12> kMonths{"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                     "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  const auto month = random.Between(1, 12);
  const auto day = random.Between(1, 28);
  const auto year = random.Between(1988, 2004);
  switch (random.Between(0, 11)) {
    case 0:
      return fmt::format("{}/{}/{:02}", month, day, year % 100);
    case 1:
      return fmt::format("{:02}-{:02}-{}", month, day, year);
    case 2:
      return fmt::format("{} {} {:02}", day, kMonths[static_cast<std::size_t>(month - 1)], year % 100);
    case 3:
      return fmt::format("{}-{:02}-{:02}", year, month, day);
    case 4:
      return fmt::format("{}/{:02}", month, year % 100);
    case 5:
      return random.Percent(50) ? "unknown" : "pending";
    case 6:
      return random.Percent(50) ? "" : "  /  /";
    case 7:
      return "02/30/2001";
    default:
      return fmt::format("{:02}/{:02}/{}", month, day, year);
  }
}

CentralRecord MakeCentral(Random& random, const std::string& key) {
  CentralRecord record;
  record.key = key;
  record.address = key;
  if (random.Percent(8)) record.address2 = fmt::format("UNIT {}", random.Between(1, 40));
  record.city = Pick(random, kCities);
  record.st = Pick(random, kStates);
  record.zip = fmt::format("{:05}", random.Between(50000, 64999));
  if (random.Percent(20)) record.zip += fmt::format("-{:04}", random.Between(0, 9999));
  record.county = fmt::format("{} COUNTY", Pick(random, kCities).substr(0, 8));
  record.subdiv = Pick(random, kSubdivisions);
  record.census = fmt::format("{}.{:02}", random.Between(1000, 9999), random.Between(0, 99));
  record.mapref = fmt::format("{}-{}-{}", random.Between(1, 99),
                              static_cast<char>('A' + random.Between(0, 7)), random.Between(1, 9));
  if (!random.Percent(5))
    record.lotsize = fmt::format("{}.{:02}", random.Between(0, 12), random.Between(0, 99));
  record.owner = Pick(random, kOwners);
  return record;
}

std::string Remarks(Random& random) {
  if (random.Percent(35)) return {};
  std::string text;
  const auto sentences = random.Percent(4) ? random.Between(20, 60) : random.Between(1, 4);
  for (std::int64_t i = 0; i < sentences; ++i) {
    if (i > 0) text += random.Percent(20) ? "\r\n" : "  ";
    text += Pick(random, kRemarks);
  }
  return text;
}

CompsRecord MakeComps(Random& random, const std::string& key) {
  CompsRecord record;
  record.key = key;
  if (!random.Percent(5)) record.load_date = Day(random, 1996, 2004);
  record.neighborhood = fmt::format("NBHD {}", random.Between(1, 60));
  if (!random.Percent(3)) record.selling_price = fmt::format("{}", random.Between(40, 900) * 500);
  record.data_source = Pick(random, kSources);
  if (record.data_source == "MLS") record.data_source += fmt::format(" {}", random.Between(10000, 99999));
  if (!random.Percent(10)) record.days_on_market = fmt::format("{}", random.Between(1, 400));
  record.sale_date = SaleDate(random);
  record.year_built = random.Percent(4) ? "UNK" : fmt::format("{}", random.Between(1890, 2004));
  const auto bedrooms = random.Between(1, 6);
  record.bedrooms = fmt::format("{}", bedrooms);
  record.room_count = fmt::format("{}", bedrooms + random.Between(2, 5));
  record.baths = fmt::format("{}.{}", random.Between(1, 4), random.Percent(40) ? 5 : 0);
  record.gla = fmt::format("{}", random.Between(600, 4800));
  record.story_code = random.Percent(50) ? "1" : "2";
  record.style_code = Pick(random, kStyles);
  record.condition = Pick(random, kConditions);
  record.garage = fmt::format("{}", random.Between(0, 3));
  record.pool = random.Percent(10) ? "T" : "F";
  record.comments = Remarks(random);
  return record;
}

std::vector<PhotoRecord> MakePhotos(Random& random, const std::string& key, std::int64_t index) {
  std::vector<PhotoRecord> photos;
  if (random.Percent(20)) return photos;
  const auto count = random.Between(1, 4);
  for (std::int64_t i = 0; i < count; ++i) {
    photos.push_back({key, fmt::format("P{:07}{}", index, static_cast<char>('A' + i)),
                      std::string(i == 0 ? kViews[0] : Pick(random, kViews)), Day(random, 1997, 2004)});
  }
  return photos;
}

}  // namespace

Property MakeProperty(const OfficeOptions& options, std::int64_t index) {
  Random random(options.seed * 0x100000001B3u + static_cast<std::uint64_t>(index));
  const std::string key = MakeKey(options, index);
  Property property;
  property.central = MakeCentral(random, key);
  if (!random.Percent(15)) property.comps.push_back(MakeComps(random, key));
  property.photos = MakePhotos(random, key, index);
  property.in_target = random.Percent(options.duplicates_percent);
  return property;
}

}  // namespace corvix::sample
