#include "zuv/records/geometry.h"

#include <cstring>

#include <gtest/gtest.h>

namespace {

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

  CZuvBuffer& alias = source;
  void* const block = source.GetBuffer();
  source = alias;
  EXPECT_EQ(block, source.GetBuffer());
  EXPECT_EQ(16u, source.GetSize());
}

// A source without a block, or with a block of size 0, copies as no block at all.
TEST(GeometryTest, CopyOfAnEmptyBufferHasNoBlock) {
  CZuvBuffer none, zero;
  zero.Allocate(0);
  for (const CZuvBuffer* source : {&none, &zero}) {
    CZuvBuffer target;
    Fill(&target, 8, 'x');
    target = *source;
    EXPECT_EQ(nullptr, target.GetBuffer());
    EXPECT_EQ(0u, target.GetSize());
    EXPECT_EQ(nullptr, CZuvBuffer(*source).GetBuffer());
  }
}

}  // namespace
