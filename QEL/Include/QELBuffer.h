#pragma once

#include <algorithm>

namespace qel {

/// A work area of `T` elements that starts inside the object, with room for `N`, and moves to the
/// heap when it is resized. For places where a small size is usual and a larger one possible.
/// The elements are not initialised. One thread at a time.
template <unsigned N, typename T>
class CTempBuffer {
 public:
  CTempBuffer() noexcept : m_nSize(N), m_pData(m_aInline) {}
  CTempBuffer(const CTempBuffer&) = delete;
  CTempBuffer& operator=(const CTempBuffer&) = delete;

  virtual ~CTempBuffer() {
    FreeHeap();
    m_pData = m_aInline;
    m_nSize = N;
  }

  /// The elements; valid until the next Resize or the end of the buffer.
  T* Data() noexcept { return m_pData; }
  const T* Data() const noexcept { return m_pData; }

  /// Capacity in elements.
  unsigned Size() const noexcept { return m_nSize; }

  /// Moves to a heap block of `size` elements, keeping as many of the old ones as both sizes hold.
  /// Throws std::bad_alloc, leaving the buffer as it was.
  void Resize(unsigned size) {
    T* const data = new T[size];
    std::copy_n(m_pData, std::min(size, m_nSize), data);
    FreeHeap();
    m_nSize = size;
    m_pData = data;
  }

 private:
  void FreeHeap() noexcept {
    if (m_pData != m_aInline) delete[] m_pData;
  }

  T m_aInline[N];
  unsigned m_nSize;
  T* m_pData;  // m_aInline, or a heap block that this object owns
};

/// A buffer of bytes.
template <unsigned N>
class QELBufferEx : private CTempBuffer<N, unsigned char> {
 public:
  using CTempBuffer<N, unsigned char>::Data;
  using CTempBuffer<N, unsigned char>::Size;
  using CTempBuffer<N, unsigned char>::Resize;
};

}  // namespace qel
