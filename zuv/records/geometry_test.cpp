#include "zuv/records/geometry.h"

#include <cstring>

#include <gtest/gtest.h>

namespace {

// Copies are deep; a source without a block, or with a block of size 0, copies as no block.
TEST(GeometryTest, BufferCopiesAreDeepAndAnEmptyOneHasNoBlock) {
  CZuvBuffer source, none, zero, assigned;
  std::memset(source.Allocate(16), 'a', 16);
  zero.Allocate(0);
  assigned.Allocate(4);  // replaced, not leaked
  assigned = source;
  CZuvBuffer copy(source);
  for (const CZuvBuffer* target : {&copy, &assigned}) {
    ASSERT_EQ(16u, target->GetSize());
    ASSERT_NE(source.GetBuffer(), target->GetBuffer());
    EXPECT_EQ(0, std::memcmp(source.GetBuffer(), target->GetBuffer(), 16));
  }
  for (const CZuvBuffer* empty : {&none, &zero}) {
    assigned = *empty;
    EXPECT_TRUE(assigned.GetBuffer() == nullptr && assigned.GetSize() == 0);
    EXPECT_EQ(nullptr, CZuvBuffer(*empty).GetBuffer());
  }
  const void* block = source.GetBuffer();
  source = static_cast<const CZuvBuffer&>(source);  // assigning itself keeps the block
  EXPECT_EQ(block, source.GetBuffer());
}

}  // namespace
