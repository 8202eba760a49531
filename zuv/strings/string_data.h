// CZuvStringData, the library's one text type: a value holding text in the system encoding, UTF-8
// or UTF-16, producing the other forms on first demand and keeping them. Copies share one immutable
// value through a list of sharers kept under the value's lock, so a copy never copies text. Beside
// it: the pointer wrappers that name the encoding of a raw pointer in a signature, and the
// ZuvString conversion, copy and length helpers.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "zuv/export.h"
#include "zuv/files/thread.h"
#include "zuv/transfer/result.h"

class CZuvPlatformString;

/// The primary form of a string value.
enum eZuvStringEncoding : int32_t {
  kZuvEncodingNone = 0,  ///< No text yet.
  kZuvEncodingSystem = 1,
  kZuvEncodingUtf8 = 2,
  kZuvEncodingUnicode = 3,
};

/// A pointer to 0-terminated text in the system encoding. Owns nothing.
class ZUV_EXPORT ZuvCharSystem {
 public:
  /// Wraps a pointer; converts back to it.
  /// @{
  ZuvCharSystem(const char* text) : m_pText(text) {}
  ZuvCharSystem(const ZuvCharSystem&) = default;
  operator const char*() const { return m_pText; }
  /// @}

 private:
  const char* m_pText;
};

/// A pointer to 0-terminated UTF-8 text. Owns nothing.
class ZUV_EXPORT ZuvCharUtf8 {
 public:
  /// Wraps a pointer; converts back to it.
  /// @{
  ZuvCharUtf8(const char* text) : m_pText(text) {}
  ZuvCharUtf8(const ZuvCharUtf8&) = default;
  operator const char*() const { return m_pText; }
  /// @}

 private:
  const char* m_pText;
};

/// A pointer to 0-terminated UTF-16 units in host byte order. Owns nothing. The wchar_t view only
/// reinterprets the pointer: no unit is converted, even where wchar_t is 32 bits wide.
class ZUV_EXPORT ZuvCharUnicode {
 public:
  /// Wraps a pointer; converts back to it, in either view.
  /// @{
  ZuvCharUnicode(const unsigned short* text) : m_pText(text) {}
  ZuvCharUnicode(const wchar_t* text) : m_pText(reinterpret_cast<const unsigned short*>(text)) {}
  ZuvCharUnicode(const ZuvCharUnicode&) = default;
  operator const unsigned short*() const { return m_pText; }
  operator const wchar_t*() const { return reinterpret_cast<const wchar_t*>(m_pText); }
  /// @}

 private:
  const unsigned short* m_pText;
};

/// A pointer to 0-terminated text in the platform encoding, which is UTF-8. Owns nothing.
class ZUV_EXPORT ZuvCharPlatform {
 public:
  /// Wraps a pointer; converts back to it, or to the UTF-8 wrapper.
  /// @{
  ZuvCharPlatform(const char* text) : m_pText(text) {}
  ZuvCharPlatform(const ZuvCharUtf8& text) : m_pText(text) {}
  ZuvCharPlatform(const ZuvCharPlatform&) = default;
  operator const char*() const { return m_pText; }
  operator ZuvCharUtf8() const { return ZuvCharUtf8(m_pText); }
  /// @}

 private:
  const char* m_pText;
};

/// Conversion, copy and length helpers. Every buffer returned is allocated with malloc and belongs
/// to the caller, who releases it with free.
namespace ZuvString {

/// UTF-8 copy of system-encoding text; an empty string when the system encoding refuses the bytes.
ZUV_EXPORT char* CreateConvertStringSystemToUtf8(const char* text);
/// System-encoding copy of UTF-8 text; an empty string when the text is not well-formed UTF-8 or
/// holds a character the system encoding cannot represent; null if memory runs out.
ZUV_EXPORT char* CreateConvertStringUtf8ToSystem(const char* text);
/// UTF-8 copy of UTF-16 units (null or empty give the empty string; lone surrogates U+FFFD).
ZUV_EXPORT char* CreateConvertStringUnicodeToUtf8(const unsigned short* text);
/// UTF-16 copy of UTF-8 text, always terminated; text that is not well-formed UTF-8 gives the
/// empty string. Null if memory runs out.
ZUV_EXPORT unsigned short* CreateConvertStringUtf8ToUnicode(const char* text);
/// Always null: system encoding and UTF-16 are converted through UTF-8.
ZUV_EXPORT unsigned short* CreateConvertStringSystemToUnicode(const char* text);
/// Always null: system encoding and UTF-16 are converted through UTF-8.
ZUV_EXPORT char* CreateConvertStringUnicodeToSystem(const unsigned short* text);
/// Exact copy of 0-terminated bytes; null for null.
ZUV_EXPORT char* CreateCopyCString(const char* text);
/// Exact copy of 0-terminated UTF-16 units; null for null.
ZUV_EXPORT unsigned short* CreateCopyUnicode(const unsigned short* text);
/// Number of units before the 0 unit; 0 for null.
ZUV_EXPORT unsigned long GetLengthCharUnicode(const unsigned short* text);
/// Number of UTF-16 units of system-encoding text; 0 when the bytes are refused.
ZUV_EXPORT unsigned long GetLengthCharSystemEncoding(const char* text);
/// ZuvMacStringUtility::utf8_length of the text.
ZUV_EXPORT unsigned long GetLengthCharUtf8(const char* text);

}  // namespace ZuvString

/// A text value. Copies share one immutable value; every change detaches the object from its value
/// and attaches a new one. One object must not be used from two threads at once; distinct objects
/// sharing a value may be.
class ZUV_EXPORT CZuvStringData {
 public:
  /// One text, shared by every CZuvStringData in its sharer list. The primary form is set once;
  /// the other forms are produced from UTF-8 on first demand and never change once stored, so a
  /// present form is read without the lock.
  class ZUV_EXPORT CZuvStringValue {
   public:
    CZuvStringValue();
    ~CZuvStringValue();
    CZuvStringValue(const CZuvStringValue&) = delete;
    CZuvStringValue& operator=(const CZuvStringValue&) = delete;

    /// The first initialisation wins: a value that already has a kind keeps it. kZuvSuccess.
    /// @{
    ZuvResult InitWithUtf8(const char* text);
    ZuvResult InitWithSystemEncoding(const char* text);
    ZuvResult InitWithUnicode(const unsigned short* text);
    /// @}

    /// CZuvStringData's forms, lengths and tests of the same names, answered for this value.
    /// @{
    const char* GetPtrUtf8();
    const char* GetPtrSystemEncoding();
    const unsigned short* GetPtrUnicode();

    unsigned long GetLengthChar() const;
    unsigned long GetLengthByteUtf8();
    unsigned long GetLengthByteSystemEncoding();
    unsigned long GetLengthByteUnicode();

    bool HasValueUtf8() const;
    bool HasValueSystemEncoding() const;
    bool HasValueUnicode() const;
    bool IsEmpty() const;
    /// @}

    /// Back to kind kZuvEncodingNone with no buffers; used only on the way to destruction.
    void Clear();

   private:
    friend class CZuvStringData;
    template <typename Unit>
    ZuvResult InitWith(eZuvStringEncoding encoding, std::atomic<Unit*>& slot, const Unit* text);
    template <typename Unit, typename FromUtf8>
    const Unit* GetOrProduce(eZuvStringEncoding encoding, std::atomic<Unit*>& slot,
                             const Unit* empty, FromUtf8 fromUtf8);
    char* ProduceUtf8Locked();

    CZuvCriticalSection m_lock;
    std::atomic<eZuvStringEncoding> m_eEncoding;
    std::atomic<char*> m_pSystem;
    std::atomic<char*> m_pUtf8;
    std::atomic<unsigned short*> m_pUnicode;
  };

  CZuvStringData();
  /// A value holding a copy of the text, in the wrapper's encoding as its primary form.
  /// @{
  CZuvStringData(const ZuvCharUnicode& text);
  CZuvStringData(const ZuvCharUtf8& text);
  CZuvStringData(const ZuvCharPlatform& text);
  CZuvStringData(const ZuvCharSystem& text);
  /// @}
  /// Shares the other's value; no text is copied.
  /// @{
  CZuvStringData(const CZuvStringData& other);
  CZuvStringData& operator=(const CZuvStringData& other);
  /// @}
  ~CZuvStringData();

  /// Leaves the value; the object is then without value.
  void Clear();

  /// Leave the current value and attach a new one holding a copy of the text. kZuvSuccess, or
  /// kZuvErrFailed for a null pointer (the object then holds an empty value).
  /// @{
  ZuvResult InitWithUtf8(const char* text);
  ZuvResult InitWithSystemEncoding(const char* text);
  ZuvResult InitWithUnicode(const unsigned short* text);
  ZuvResult InitWithChar(const ZuvCharUtf8& text);
  ZuvResult InitWithChar(const ZuvCharPlatform& text);
  ZuvResult InitWithChar(const ZuvCharSystem& text);
  ZuvResult InitWithChar(const ZuvCharUnicode& text);
  /// @}
  /// Takes the text of a platform string. kZuvErrFailed for null, leaving the object without value.
  ZuvResult InitWithCFString(const CZuvPlatformString* text);
  /// A new platform string of the UTF-8 form; an empty one when the text is not well-formed UTF-8.
  std::unique_ptr<CZuvPlatformString> CreateCopyCFString() const;

  /// The form asked for, produced on first demand. An object without value first gets an empty
  /// value of its own. The pointer stays valid while any sharer holds the value.
  /// @{
  const char* GetPtrUtf8() const {
    // A present form never changes, so it is read without the lock.
    if (m_pValue != nullptr) {
      if (const char* utf8 = m_pValue->m_pUtf8.load(std::memory_order_acquire)) return utf8;
    }
    return Value()->GetPtrUtf8();
  }
  const char* GetPtrSystemEncoding() const;
  const unsigned short* GetPtrUnicode() const;
  const char* GetPtrPlatform() const { return GetPtrUtf8(); }
  ZuvCharUnicode GetCharUnicode() const { return ZuvCharUnicode(GetPtrUnicode()); }
  ZuvCharPlatform GetCharPlatform() const { return ZuvCharPlatform(GetPtrUtf8()); }
  /// @}

  /// Character count of the primary form: UTF-8 lead bytes, UTF-16 units, or for the system
  /// encoding its UTF-16 units (0 when refused). 0 without value.
  unsigned long GetLengthChar() const;
  /// Byte length of the form without its terminator (produced if needed); 0 without value.
  /// @{
  unsigned long GetLengthByteUtf8() const;
  unsigned long GetLengthByteSystemEncoding() const;
  unsigned long GetLengthByteUnicode() const;
  unsigned long GetLengthBytePlatform() const { return GetLengthByteUtf8(); }
  /// @}

  /// Whether that form is present now; produces nothing and says nothing of emptiness.
  /// @{
  bool HasValueUtf8() const;
  bool HasValueSystemEncoding() const;
  bool HasValueUnicode() const;
  /// @}
  /// True without value, for an empty text, and for system-encoding text the encoding refuses.
  bool IsEmpty() const;

  /// At most `count` characters of the UTF-8 form starting at character `start`.
  CZuvStringData Mid(unsigned long start, unsigned long count) const;

 private:
  void Leave();
  void Join(const CZuvStringData& source);
  CZuvStringValue* AttachNewValue() const;
  CZuvStringValue* Value() const;

  CZuvStringData* m_pPrevShare;
  CZuvStringData* m_pNextShare;
  // Mutable: the const GetPtr members attach an empty value to an object that has none.
  mutable CZuvStringValue* m_pValue;
};
