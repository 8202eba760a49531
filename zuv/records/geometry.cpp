#include "zuv/records/geometry.h"

#include <cstdlib>
#include <cstring>

CZuvBuffer::CZuvBuffer(const CZuvBuffer& other) { *this = other; }

// A copy of a buffer without a block, or a copy for which memory runs out, leaves this buffer
// empty (null, size 0) rather than with a size and no block.
CZuvBuffer& CZuvBuffer::operator=(const CZuvBuffer& other) {
  if (this == &other) return *this;
  Free();
  if (other.m_pData == nullptr || other.m_nSize == 0) return *this;
  if (Allocate(other.m_nSize) == nullptr) {
    Free();
  } else {
    std::memcpy(m_pData, other.m_pData, m_nSize);
  }
  return *this;
}

CZuvBuffer::~CZuvBuffer() { Free(); }

void* CZuvBuffer::Allocate(uint32_t size) {
  Free();
  m_nSize = size;
  m_pData = std::malloc(size);
  return m_pData;
}

void CZuvBuffer::Free() {
  std::free(m_pData);
  m_pData = nullptr;
  m_nSize = 0;
}
