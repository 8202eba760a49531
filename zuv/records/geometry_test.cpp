#include "zuv/records/geometry.h"

#include <cstring>

#include <gtest/gtest.h>

namespace {

TEST(GeometryTest, RectIsNotNormalised) {
  const CZuvRect inverted(10, 20, 5, 50);
  EXPECT_EQ(-5, inverted.Width());
  EXPECT_EQ(30, inverted.Height());
  EXPECT_EQ(0, CZuvRect().Width());
}

TEST(GeometryTest, RectsAreEqualOnlyWithAllFourEdges) {
  const CZuvRect rect(1, 2, 3, 4);
  const CZuvRect& same = rect;
  EXPECT_TRUE(rect == same);
  EXPECT_FALSE(rect != same);
  for (const CZuvRect& other :
       {CZuvRect(0, 2, 3, 4), CZuvRect(1, 0, 3, 4), CZuvRect(1, 2, 0, 4), CZuvRect(1, 2, 3, 0)}) {
    EXPECT_FALSE(rect == other);
    EXPECT_TRUE(rect != other);
  }
  EXPECT_TRUE(rect == CZuvRect(1, 2, 3, 4));
}

// Fills a buffer with `size` bytes of `byte`.
void Fill(CZuvBuffer* buffer, uint32_t size, char byte) {
  ASSERT_NE(nullptr, buffer->Allocate(size));
  std::memset(buffer->GetBuffer(), byte, size);
}

TEST(GeometryTest, BufferCopiesAreDeep) {
  CZuvBuffer source;
  Fill(&source, 16, 'a');

  CZuvBuffer copy(source);
  CZuvBuffer assigned;
  Fill(&assigned, 4, 'z');  // replaced, not leaked
  assigned = source;
  for (CZuvBuffer* target : {&copy, &assigned}) {
    ASSERT_EQ(16u, target->GetSize());
    ASSERT_NE(source.GetBuffer(), target->GetBuffer());
    EXPECT_EQ(0, std::memcmp(source.GetBuffer(), target->GetBuffer(), 16));
  }
  static_cast<char*>(copy.GetBuffer())[0] = 'b';
  EXPECT_EQ('a', static_cast<char*>(source.GetBuffer())[0]);

  CZuvBuffer& alias = source;
  void* const block = source.GetBuffer();
  source = alias;
  EXPECT_EQ(block, source.GetBuffer());
  EXPECT_EQ(16u, source.GetSize());
}

TEST(GeometryTest, EmptySourceOrFreeLeavesBufferEmpty) {
  CZuvBuffer target;
  Fill(&target, 8, 'x');
  target = CZuvBuffer();
  EXPECT_EQ(nullptr, target.GetBuffer());
  EXPECT_EQ(0u, target.GetSize());

  Fill(&target, 8, 'x');
  target.Allocate(0);
  EXPECT_EQ(0u, target.GetSize());
  CZuvBuffer copy;
  Fill(&copy, 8, 'y');
  copy = target;  // a block of size 0 copies as no block
  EXPECT_EQ(nullptr, copy.GetBuffer());
  EXPECT_EQ(0u, copy.GetSize());

  target.Free();
  EXPECT_EQ(nullptr, target.GetBuffer());
  EXPECT_EQ(0u, target.GetSize());
  target.Free();  // twice is harmless
}

}  // namespace
