#include "run/gauge.h"

#include <gtest/gtest.h>

#include "common/error.h"
#include "support/scripted_host.h"

namespace corvix::run {
namespace {

TEST(Gauge, SetGaugeValue_ScalesBy99Point9) {
  struct Case {
    float count;
    std::int32_t total;
    int position;
  };
  test::ScriptedHost host;
  for (const Case& c : {Case{1, 1000, 0}, {11, 1000, 1}, {1000, 1000, 99}, {0, 1, 0}, {3, 4, 74}}) {
    SetGaugeValue(host.gauprogress(), c.count, c.total);
    EXPECT_EQ(host.positions.back(), c.position) << c.count << " of " << c.total;
  }
}

TEST(Gauge, SetGaugeValue_KeepsTheBarWhereAValueIsOutOfRange) {
  test::ScriptedHost host;
  SetGaugeValue(host.gauprogress(), 102, 100);
  SetGaugeValue(host.gauprogress(), 3e9F, 1);
  EXPECT_TRUE(host.positions.empty());
}

TEST(Gauge, SetGaugeValue_DoesNotIgnoreATotalOfZero) {
  test::ScriptedHost host;
  EXPECT_THROW(SetGaugeValue(host.gauprogress(), 1, 0), common::Error);
}

}  // namespace
}  // namespace corvix::run
