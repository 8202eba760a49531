#include "zuv/records/metadata.h"

#include <gtest/gtest.h>

namespace {

TEST(MetadataTest, IptcCopiesAreDeep) {
  CZuvIPTCData original;
  original.fields[120] = CZuvStringData(ZuvCharUtf8("caption"));
  original.fields[5] = CZuvStringData(ZuvCharUtf8("title"));

  CZuvIPTCData copy(original);
  copy.fields[120].InitWithUtf8("changed");
  copy.fields[25] = CZuvStringData(ZuvCharUtf8("keyword"));
  EXPECT_STREQ("caption", original.fields[120].GetPtrUtf8());
  EXPECT_EQ(2u, original.fields.size());

  CZuvIPTCData& alias = copy;
  copy = alias;
  EXPECT_STREQ("changed", copy.fields[120].GetPtrUtf8());
  copy = CZuvIPTCData();
  EXPECT_TRUE(copy.fields.empty());
  EXPECT_STREQ("title", original.fields[5].GetPtrUtf8());
}

}  // namespace
