// The smallest records that the application's modules exchange through the library: an integer
// size, point and rectangle, and a byte buffer that owns its block. Plain values: default
// construction gives zeros, and copies are independent.
#pragma once

#include <cstdint>

#include "zuv/export.h"

/// A width and a height.
class ZUV_EXPORT CZuvSize {
 public:
  CZuvSize() = default;
  /// The given width and height.
  CZuvSize(int32_t width_, int32_t height_) : width(width_), height(height_) {}

  /// The extent, 0 by default.
  /// @{
  int32_t width = 0;
  int32_t height = 0;
  /// @}
};

/// A position.
class ZUV_EXPORT CZuvPoint {
 public:
  CZuvPoint() = default;
  /// The given position.
  CZuvPoint(int32_t x_, int32_t y_) : x(x_), y(y_) {}

  /// The coordinates, 0 by default.
  /// @{
  int32_t x = 0;
  int32_t y = 0;
  /// @}
};

/// A rectangle by its edges. Nothing normalises it: an inverted rectangle keeps its edges and has
/// a negative width or height.
class ZUV_EXPORT CZuvRect {
 public:
  CZuvRect() = default;
  /// The given edges, kept as they are.
  CZuvRect(int32_t left_, int32_t top_, int32_t right_, int32_t bottom_)
      : left(left_), top(top_), right(right_), bottom(bottom_) {}

  /// Equal when all four edges are; != is its negation.
  bool operator==(const CZuvRect& other) const = default;

  /// right − left.
  int32_t Width() const { return right - left; }
  /// bottom − top.
  int32_t Height() const { return bottom - top; }

  /// The edges, 0 by default.
  /// @{
  int32_t left = 0;
  int32_t top = 0;
  int32_t right = 0;
  int32_t bottom = 0;
  /// @}
};

/// A block of bytes obtained with malloc, owned by the buffer and freed on Free, on Allocate, on
/// assignment and on destruction. Copies are deep.
class ZUV_EXPORT CZuvBuffer {
 public:
  CZuvBuffer() = default;
  /// A copy of the other's block and size; empty (null, size 0) when the other has no block or
  /// memory runs out.
  /// @{
  CZuvBuffer(const CZuvBuffer& other);
  CZuvBuffer& operator=(const CZuvBuffer& other);
  /// @}
  ~CZuvBuffer();

  /// Frees the current block, records `size` and returns a new block of that many bytes, or null
  /// when memory runs out (the size stays recorded even then).
  void* Allocate(uint32_t size);
  /// Frees the block; the buffer is then null with size 0.
  void Free();

  /// The block, or null.
  void* GetBuffer() const { return m_pData; }
  /// The size in bytes recorded by Allocate or by a copy.
  uint32_t GetSize() const { return m_nSize; }

 private:
  void* m_pData = nullptr;
  uint32_t m_nSize = 0;
};
