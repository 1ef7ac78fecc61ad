// Property blobs: what is read is written again byte for byte, and damage is refused.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "common/error.h"
#include "storage/jet/catalog/catalog.h"
#include "storage/jet/definition/property_map.h"
#include "storage/jet/rows/long_value.h"
#include "support/jet_files.h"

namespace corvix::jet {
namespace {

using storage::ByteView;
using Bytes = std::vector<std::byte>;

TEST(PropertyMap, RealOnesAreBuiltAsTheyStand) {
  const auto files = test::SharedJetFiles();
  if (files.empty()) GTEST_SKIP() << "no shared files";
  storage::PosixFileSystem system;
  int blobs = 0;
  for (const auto& file : files) {
    const auto pager = test::OpenPager(system, file);
    const Catalog catalog(*pager);
    for (const CatalogObject& object : catalog.objects()) {
      if (object.stored_properties.empty()) continue;
      SCOPED_TRACE(file.string() + ", " + object.name);
      const Place place{&pager->path(), object.row.page, object.row.row};
      Bytes blob;
      ReadLongValue(*pager, object.stored_properties, place, blob);
      EXPECT_EQ(PropertyMap::Parse(blob, place).Build(), blob);
      ++blobs;
    }
  }
  EXPECT_GT(blobs, 100);
}

TEST(PropertyMap, SetReplacesAndAddsAndKeepsTheRest) {
  PropertyMap map;
  EXPECT_TRUE(map.Build().empty());
  map.Set("City", Property::YesNo("Required", true));
  map.Set("City", Property::Memo("DefaultValue", "\"Köln\""));
  map.Set("", Property::Text("ValidationText", "no"));
  map.Set("CITY", Property::YesNo("required", false));
  map.Set("Zip", Property::YesNo("AllowZeroLength", true));
  Bytes blob = map.Build();
  // A block of a kind that is not known, behind the others.
  const Bytes unknown{std::byte{8}, {}, {}, {}, std::byte{7}, {}, std::byte{0xAB}, std::byte{0xCD}};
  blob.insert(blob.end(), unknown.begin(), unknown.end());

  const PropertyMap read = PropertyMap::Parse(blob, {});
  EXPECT_EQ(read.Build(), blob);
  const ColumnRules city = read.RulesOf("city");
  EXPECT_FALSE(city.required);
  EXPECT_EQ(city.default_value, "\"Köln\"");
  EXPECT_TRUE(read.RulesOf("ZIP").allow_zero_length);
  EXPECT_FALSE(read.RulesOf("Street").allow_zero_length);
  EXPECT_EQ(read.TableRule().text, "no");

  for (std::size_t length = 1; length < blob.size(); ++length) {
    try {  // a cut blob is refused, or ends between two blocks
      PropertyMap::Parse(ByteView(blob).first(length), {});
    } catch (const common::Error& error) {
      EXPECT_EQ(error.number(), common::kDamagedDatabase);
    }
  }
}

}  // namespace
}  // namespace corvix::jet
