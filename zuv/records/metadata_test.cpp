#include "zuv/records/metadata.h"

#include <limits>

#include <gtest/gtest.h>

namespace {

using CZuvGeotagDMS = CZuvGeotagData::CZuvGeotagDMS;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

TEST(MetadataTest, AnglesCompareAsNumbers) {
  struct Row {
    CZuvGeotagDMS a, b;
    bool equal;
  };
  const Row rows[] = {
      {{35, 40, 12.5}, {35, 40, 12.5}, true},
      {{35, 40, 12.5}, {35, 40, 12.500000000000002}, false},
      {{35, 40, 12.5}, {35, 41, 12.5}, false},
      {{35, 40, 12.5}, {36, 40, 12.5}, false},
      {{}, {0, 0, 0}, true},
      {{0, 0, -0.0}, {0, 0, 0}, true},
      {{0, 0, kNaN}, {0, 0, kNaN}, false},
      {{kNaN, 0, 0}, {0, 0, 0}, false},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::Message() << row.a.degrees << ' ' << row.a.minutes << ' ' << row.a.seconds
                                    << " vs " << row.b.seconds);
    EXPECT_EQ(row.equal, row.a == row.b);
    EXPECT_EQ(!row.equal, row.a != row.b);
  }

  CZuvFocusArea area;
  area.x = std::numeric_limits<float>::quiet_NaN();
  const CZuvFocusArea& same = area;
  EXPECT_FALSE(area == same);
  CZuvFocusArea other;
  other.kind = 1;
  EXPECT_FALSE(CZuvFocusArea() == other);
  EXPECT_TRUE(CZuvFocusArea() == CZuvFocusArea());
}

TEST(MetadataTest, GeotagIsEmptyLooksOnlyAtTheTwoReferences) {
  CZuvGeotagData geotag;
  EXPECT_TRUE(geotag.IsEmpty());
  geotag.latitude = CZuvGeotagDMS(35, 40, 12.5);
  geotag.altitude = 40;
  EXPECT_TRUE(geotag.IsEmpty());
  geotag.longitudeRef = 'E';
  EXPECT_FALSE(geotag.IsEmpty());
  geotag.longitudeRef = 0;
  geotag.latitudeRef = 'N';
  EXPECT_FALSE(geotag.IsEmpty());

  const CZuvGeotagData copy(geotag);
  EXPECT_TRUE(copy == geotag);
  geotag.longitude.seconds = kNaN;
  EXPECT_FALSE(CZuvGeotagData(geotag) == geotag);
}

TEST(MetadataTest, IptcCopiesAreIndependent) {
  CZuvIPTCData original;
  original.fields[120] = CZuvStringData(ZuvCharUtf8("caption"));
  original.fields[5] = CZuvStringData(ZuvCharUtf8("title"));

  CZuvIPTCData copy(original);
  copy.fields[120].InitWithUtf8("changed");
  copy.fields[25] = CZuvStringData(ZuvCharUtf8("keyword"));
  EXPECT_STREQ("caption", original.fields[120].GetPtrUtf8());
  EXPECT_EQ(2u, original.fields.size());
  EXPECT_EQ(5u, copy.fields.begin()->first);

  CZuvIPTCData& alias = copy;
  copy = alias;
  EXPECT_STREQ("changed", copy.fields[120].GetPtrUtf8());

  copy = CZuvIPTCData();
  EXPECT_TRUE(copy.fields.empty());
  EXPECT_STREQ("title", original.fields[5].GetPtrUtf8());
}

}  // namespace
