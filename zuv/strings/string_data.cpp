#include "zuv/strings/string_data.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <string>
#include <string_view>

#include "zuv/platform/text.h"
#include "zuv/strings/utf8_utility.h"

namespace {

const unsigned short kEmptyUnits[1] = {0};

// Holds a CZuvCriticalSection for one scope; released also when a conversion throws.
class Locker {
 public:
  explicit Locker(const CZuvCriticalSection& lock) : m_lock(lock) { m_lock.Enter(); }
  ~Locker() { m_lock.Leave(); }
  Locker(const Locker&) = delete;
  Locker& operator=(const Locker&) = delete;

 private:
  const CZuvCriticalSection& m_lock;
};

size_t UnitLength(const unsigned short* units) {
  size_t length = 0;
  if (units != nullptr) {
    while (units[length] != 0) ++length;
  }
  return length;
}

std::u16string_view UnitView(const unsigned short* units) {
  return {reinterpret_cast<const char16_t*>(units), UnitLength(units)};
}

// A malloc'ed, terminated copy of `length` bytes; null when memory runs out.
char* MallocCopy(const char* bytes, size_t length) {
  auto* copy = static_cast<char*>(std::malloc(length + 1));
  if (copy != nullptr) {
    std::memcpy(copy, bytes, length);
    copy[length] = '\0';
  }
  return copy;
}

char* MallocCopy(std::string_view bytes) { return MallocCopy(bytes.data(), bytes.size()); }

unsigned short* MallocCopyUnits(const unsigned short* units, size_t length) {
  auto* copy = static_cast<unsigned short*>(std::malloc((length + 1) * sizeof(unsigned short)));
  if (copy != nullptr) {
    std::memcpy(copy, units, length * sizeof(unsigned short));
    copy[length] = 0;
  }
  return copy;
}

// Conversions report a failed allocation as null, never as an exception.
template <typename Convert>
auto NullOnBadAlloc(Convert convert) -> decltype(convert()) {
  try {
    return convert();
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// ZuvString helpers

namespace ZuvString {

char* CreateConvertStringSystemToUtf8(const char* text) {
  return NullOnBadAlloc([&]() -> char* {
    std::string_view bytes = text != nullptr ? std::string_view(text) : std::string_view();
    if (zuv::platform::SystemEncodingIsUtf8()) {
      return zuv::platform::IsWellFormedUtf8(bytes) ? MallocCopy(bytes) : MallocCopy("", 0);
    }
    std::u16string units;
    if (text == nullptr || !zuv::platform::DecodeSystem(bytes, &units)) return MallocCopy("", 0);
    return MallocCopy(zuv::platform::EncodeUtf8(units));
  });
}

char* CreateConvertStringUtf8ToSystem(const char* text) {
  return NullOnBadAlloc([&]() -> char* {
    std::string_view bytes = text != nullptr ? std::string_view(text) : std::string_view();
    if (zuv::platform::SystemEncodingIsUtf8()) {
      return zuv::platform::IsWellFormedUtf8(bytes) ? MallocCopy(bytes) : MallocCopy("", 0);
    }
    // Text the system encoding cannot hold becomes the empty string, never a partial one.
    std::u16string units;
    std::string encoded;
    if (!zuv::platform::DecodeUtf8(bytes, &units) ||
        !zuv::platform::EncodeSystem(units, &encoded)) {
      return MallocCopy("", 0);
    }
    return MallocCopy(encoded);
  });
}

char* CreateConvertStringUnicodeToUtf8(const unsigned short* text) {
  return NullOnBadAlloc(
      [&]() -> char* { return MallocCopy(zuv::platform::EncodeUtf8(UnitView(text))); });
}

unsigned short* CreateConvertStringUtf8ToUnicode(const char* text) {
  const size_t bytes = text != nullptr ? std::strlen(text) : 0;
  // One pass: a text never needs more units than it has bytes.
  auto* units = static_cast<unsigned short*>(std::malloc((bytes + 1) * sizeof(unsigned short)));
  if (units == nullptr) return nullptr;
  int32_t length = zuv::platform::DecodeUtf8(
      std::string_view(text != nullptr ? text : "", bytes), reinterpret_cast<char16_t*>(units),
      static_cast<int32_t>(std::min<size_t>(bytes, INT32_MAX)));
  if (length < 0) length = 0;  // not UTF-8: the empty string
  units[length] = 0;
  if (static_cast<size_t>(length) < bytes) {  // give back what multi-byte text left unused
    if (void* smaller = std::realloc(units, (length + 1) * sizeof(unsigned short))) {
      units = static_cast<unsigned short*>(smaller);
    }
  }
  return units;
}

unsigned short* CreateConvertStringSystemToUnicode(const char*) { return nullptr; }

char* CreateConvertStringUnicodeToSystem(const unsigned short*) { return nullptr; }

char* CreateCopyCString(const char* text) {
  return text != nullptr ? MallocCopy(text, std::strlen(text)) : nullptr;
}

unsigned short* CreateCopyUnicode(const unsigned short* text) {
  return text != nullptr ? MallocCopyUnits(text, UnitLength(text)) : nullptr;
}

unsigned long GetLengthCharUnicode(const unsigned short* text) { return UnitLength(text); }

unsigned long GetLengthCharSystemEncoding(const char* text) {
  if (text == nullptr) return 0;
  if (zuv::platform::SystemEncodingIsUtf8()) {
    int32_t units = zuv::platform::DecodeUtf8(text, nullptr, 0);
    return units > 0 ? static_cast<unsigned long>(units) : 0;
  }
  std::u16string units;
  return zuv::platform::DecodeSystem(text, &units) ? units.size() : 0;
}

unsigned long GetLengthCharUtf8(const char* text) {
  return static_cast<unsigned long>(ZuvMacStringUtility::utf8_length(text));
}

}  // namespace ZuvString

// ---------------------------------------------------------------------------------------------
// CZuvStringData::CZuvStringValue
//
// Each buffer pointer is stored once, with release order, and never changes afterwards; the
// primary buffer is stored before the kind. A reader that sees a pointer (or the kind) with acquire
// order therefore sees a complete text, and present forms are read without the lock.

using CZuvStringValue = CZuvStringData::CZuvStringValue;

CZuvStringValue::CZuvStringValue()
    : m_eEncoding(kZuvEncodingNone), m_pSystem(nullptr), m_pUtf8(nullptr), m_pUnicode(nullptr) {}

CZuvStringValue::~CZuvStringValue() { Clear(); }

void CZuvStringValue::Clear() {
  m_eEncoding.store(kZuvEncodingNone, std::memory_order_relaxed);
  std::free(m_pSystem.exchange(nullptr));
  std::free(m_pUtf8.exchange(nullptr));
  std::free(m_pUnicode.exchange(nullptr));
}

template <typename Unit>
ZuvResult CZuvStringValue::InitWith(eZuvStringEncoding encoding, std::atomic<Unit*>& slot,
                                    const Unit* text) {
  if (text == nullptr) return kZuvErrFailed;
  // The first initialisation wins.
  if (m_eEncoding.load(std::memory_order_acquire) != kZuvEncodingNone) return kZuvSuccess;
  Locker lock(m_lock);
  if (m_eEncoding.load(std::memory_order_relaxed) == kZuvEncodingNone) {
    if constexpr (sizeof(Unit) == 1) {
      slot.store(ZuvString::CreateCopyCString(text), std::memory_order_release);
    } else {
      slot.store(ZuvString::CreateCopyUnicode(text), std::memory_order_release);
    }
    m_eEncoding.store(encoding, std::memory_order_release);
  }
  return kZuvSuccess;
}

ZuvResult CZuvStringValue::InitWithUtf8(const char* text) {
  return InitWith(kZuvEncodingUtf8, m_pUtf8, text);
}

ZuvResult CZuvStringValue::InitWithSystemEncoding(const char* text) {
  return InitWith(kZuvEncodingSystem, m_pSystem, text);
}

ZuvResult CZuvStringValue::InitWithUnicode(const unsigned short* text) {
  return InitWith(kZuvEncodingUnicode, m_pUnicode, text);
}

// Produces the UTF-8 form, with the lock held. Every other form is produced from it.
char* CZuvStringValue::ProduceUtf8Locked() {
  if (char* utf8 = m_pUtf8.load(std::memory_order_acquire)) return utf8;
  char* utf8 = nullptr;
  switch (m_eEncoding.load(std::memory_order_relaxed)) {
    case kZuvEncodingSystem:
      utf8 = ZuvString::CreateConvertStringSystemToUtf8(m_pSystem.load(std::memory_order_relaxed));
      break;
    case kZuvEncodingUnicode:
      utf8 =
          ZuvString::CreateConvertStringUnicodeToUtf8(m_pUnicode.load(std::memory_order_relaxed));
      break;
    case kZuvEncodingNone:  // reading a value without text gives it the empty text
      InitWithUtf8("");
      return m_pUtf8.load(std::memory_order_acquire);
    case kZuvEncodingUtf8:  // the primary copy could not be allocated
      return nullptr;
  }
  m_pUtf8.store(utf8, std::memory_order_release);
  return utf8;
}

const char* CZuvStringValue::GetPtrUtf8() {
  if (const char* utf8 = m_pUtf8.load(std::memory_order_acquire)) return utf8;
  Locker lock(m_lock);
  return ProduceUtf8Locked();
}

// Returns the form in `slot`, producing it from the UTF-8 form when it is missing.
template <typename Unit, typename FromUtf8>
const Unit* CZuvStringValue::GetOrProduce(eZuvStringEncoding encoding, std::atomic<Unit*>& slot,
                                          const Unit* empty, FromUtf8 fromUtf8) {
  if (const Unit* form = slot.load(std::memory_order_acquire)) return form;
  Locker lock(m_lock);
  if (const Unit* form = slot.load(std::memory_order_acquire)) return form;
  const eZuvStringEncoding kind = m_eEncoding.load(std::memory_order_relaxed);
  if (kind == kZuvEncodingNone) {  // reading a value without text gives it the empty text
    InitWith(encoding, slot, empty);
    return slot.load(std::memory_order_acquire);
  }
  if (kind == encoding) return nullptr;  // the primary copy could not be allocated
  Unit* form = fromUtf8(ProduceUtf8Locked());
  slot.store(form, std::memory_order_release);
  return form;
}

const unsigned short* CZuvStringValue::GetPtrUnicode() {
  return GetOrProduce(kZuvEncodingUnicode, m_pUnicode, kEmptyUnits,
                      ZuvString::CreateConvertStringUtf8ToUnicode);
}

const char* CZuvStringValue::GetPtrSystemEncoding() {
  return GetOrProduce(kZuvEncodingSystem, m_pSystem, "",
                      ZuvString::CreateConvertStringUtf8ToSystem);
}

unsigned long CZuvStringValue::GetLengthChar() const {
  switch (m_eEncoding.load(std::memory_order_acquire)) {
    case kZuvEncodingUtf8:
      return ZuvString::GetLengthCharUtf8(m_pUtf8.load(std::memory_order_acquire));
    case kZuvEncodingUnicode:
      return ZuvString::GetLengthCharUnicode(m_pUnicode.load(std::memory_order_acquire));
    case kZuvEncodingSystem:
      return ZuvString::GetLengthCharSystemEncoding(m_pSystem.load(std::memory_order_acquire));
    case kZuvEncodingNone:
      break;
  }
  return 0;
}

unsigned long CZuvStringValue::GetLengthByteUtf8() {
  const char* utf8 = GetPtrUtf8();
  return utf8 != nullptr ? std::strlen(utf8) : 0;
}

unsigned long CZuvStringValue::GetLengthByteSystemEncoding() {
  const char* system = GetPtrSystemEncoding();
  return system != nullptr ? std::strlen(system) : 0;
}

unsigned long CZuvStringValue::GetLengthByteUnicode() { return 2 * UnitLength(GetPtrUnicode()); }

bool CZuvStringValue::HasValueUtf8() const {
  return m_pUtf8.load(std::memory_order_acquire) != nullptr;
}

bool CZuvStringValue::HasValueSystemEncoding() const {
  return m_pSystem.load(std::memory_order_acquire) != nullptr;
}

bool CZuvStringValue::HasValueUnicode() const {
  return m_pUnicode.load(std::memory_order_acquire) != nullptr;
}

bool CZuvStringValue::IsEmpty() const {
  switch (m_eEncoding.load(std::memory_order_acquire)) {
    case kZuvEncodingUtf8: {
      const char* utf8 = m_pUtf8.load(std::memory_order_acquire);
      return utf8 == nullptr || utf8[0] == '\0';
    }
    case kZuvEncodingUnicode:
      return m_pUnicode.load(std::memory_order_acquire) == nullptr || GetLengthChar() == 0;
    case kZuvEncodingSystem:
      // Bytes the system encoding refuses have no characters, so such a text counts as empty.
      return m_pSystem.load(std::memory_order_acquire) == nullptr || GetLengthChar() == 0;
    case kZuvEncodingNone:
      break;
  }
  return true;
}

// ---------------------------------------------------------------------------------------------
// CZuvStringData
//
// The sharers of one value form a doubly linked list. Every link of every sharer is read and
// written only under the value's lock, since a neighbour on another thread may relink this object
// when it joins or leaves. Only one lock is ever held: a change of value leaves the old value
// before it joins the new one.

CZuvStringData::CZuvStringData()
    : m_pPrevShare(nullptr), m_pNextShare(nullptr), m_pValue(nullptr) {}

CZuvStringData::CZuvStringData(const ZuvCharUnicode& text) : CZuvStringData() {
  InitWithUnicode(text);
}

CZuvStringData::CZuvStringData(const ZuvCharUtf8& text) : CZuvStringData() { InitWithUtf8(text); }

CZuvStringData::CZuvStringData(const ZuvCharPlatform& text) : CZuvStringData() {
  InitWithUtf8(text);
}

CZuvStringData::CZuvStringData(const ZuvCharSystem& text) : CZuvStringData() {
  InitWithSystemEncoding(text);
}

CZuvStringData::CZuvStringData(const CZuvStringData& other) : CZuvStringData() { Join(other); }

CZuvStringData& CZuvStringData::operator=(const CZuvStringData& other) {
  if (this != &other) {
    Clear();
    Join(other);
  }
  return *this;
}

CZuvStringData::~CZuvStringData() { Clear(); }

void CZuvStringData::Clear() { Leave(); }

// Inserts this object, which has no value, directly behind `source` in its value's sharer list.
void CZuvStringData::Join(const CZuvStringData& source) {
  CZuvStringValue* value = source.m_pValue;
  if (value == nullptr) return;
  Locker lock(value->m_lock);
  auto& shared = const_cast<CZuvStringData&>(source);
  m_pValue = value;
  m_pPrevShare = &shared;
  m_pNextShare = shared.m_pNextShare;
  if (m_pNextShare != nullptr) m_pNextShare->m_pPrevShare = this;
  shared.m_pNextShare = this;
}

// Unlinks this object from its value's sharer list; the last sharer destroys the value.
void CZuvStringData::Leave() {
  CZuvStringValue* value = m_pValue;
  if (value == nullptr) return;
  value->m_lock.Enter();
  if (m_pPrevShare == nullptr && m_pNextShare == nullptr) {
    m_pValue = nullptr;
    value->m_lock.Leave();
    delete value;
    return;
  }
  if (m_pPrevShare != nullptr) m_pPrevShare->m_pNextShare = m_pNextShare;
  if (m_pNextShare != nullptr) m_pNextShare->m_pPrevShare = m_pPrevShare;
  m_pPrevShare = nullptr;
  m_pNextShare = nullptr;
  m_pValue = nullptr;
  value->m_lock.Leave();
}

// Attaches a new value without text, of which this object (which has no value) is the only sharer.
CZuvStringData::CZuvStringValue* CZuvStringData::AttachNewValue() const {
  m_pValue = new CZuvStringValue();
  return m_pValue;
}

CZuvStringData::CZuvStringValue* CZuvStringData::Value() const {
  return m_pValue != nullptr ? m_pValue : AttachNewValue();
}

ZuvResult CZuvStringData::InitWithUtf8(const char* text) {
  Leave();
  CZuvStringValue* value = AttachNewValue();
  return text != nullptr ? value->InitWithUtf8(text) : kZuvErrFailed;
}

ZuvResult CZuvStringData::InitWithSystemEncoding(const char* text) {
  Leave();
  CZuvStringValue* value = AttachNewValue();
  return text != nullptr ? value->InitWithSystemEncoding(text) : kZuvErrFailed;
}

ZuvResult CZuvStringData::InitWithUnicode(const unsigned short* text) {
  Leave();
  CZuvStringValue* value = AttachNewValue();
  return text != nullptr ? value->InitWithUnicode(text) : kZuvErrFailed;
}

ZuvResult CZuvStringData::InitWithChar(const ZuvCharUtf8& text) { return InitWithUtf8(text); }

ZuvResult CZuvStringData::InitWithChar(const ZuvCharPlatform& text) { return InitWithUtf8(text); }

ZuvResult CZuvStringData::InitWithChar(const ZuvCharSystem& text) {
  return InitWithSystemEncoding(text);
}

ZuvResult CZuvStringData::InitWithChar(const ZuvCharUnicode& text) { return InitWithUnicode(text); }

ZuvResult CZuvStringData::InitWithCFString(const CZuvPlatformString* text) {
  Clear();
  if (text == nullptr) return kZuvErrFailed;
  return InitWithUtf8(text->GetUtf8().c_str());
}

std::unique_ptr<CZuvPlatformString> CZuvStringData::CreateCopyCFString() const {
  std::unique_ptr<CZuvPlatformString> copy = CZuvPlatformString::CreateWithUtf8(GetPtrUtf8());
  return copy != nullptr ? std::move(copy) : std::make_unique<CZuvPlatformString>();
}

const char* CZuvStringData::GetPtrSystemEncoding() const { return Value()->GetPtrSystemEncoding(); }

const unsigned short* CZuvStringData::GetPtrUnicode() const { return Value()->GetPtrUnicode(); }

unsigned long CZuvStringData::GetLengthChar() const {
  return m_pValue != nullptr ? m_pValue->GetLengthChar() : 0;
}

unsigned long CZuvStringData::GetLengthByteUtf8() const {
  return m_pValue != nullptr ? m_pValue->GetLengthByteUtf8() : 0;
}

unsigned long CZuvStringData::GetLengthByteSystemEncoding() const {
  return m_pValue != nullptr ? m_pValue->GetLengthByteSystemEncoding() : 0;
}

unsigned long CZuvStringData::GetLengthByteUnicode() const {
  return m_pValue != nullptr ? m_pValue->GetLengthByteUnicode() : 0;
}

bool CZuvStringData::HasValueUtf8() const {
  return m_pValue != nullptr && m_pValue->HasValueUtf8();
}

bool CZuvStringData::HasValueSystemEncoding() const {
  return m_pValue != nullptr && m_pValue->HasValueSystemEncoding();
}

bool CZuvStringData::HasValueUnicode() const {
  return m_pValue != nullptr && m_pValue->HasValueUnicode();
}

bool CZuvStringData::IsEmpty() const { return m_pValue == nullptr || m_pValue->IsEmpty(); }

CZuvStringData CZuvStringData::Mid(unsigned long start, unsigned long count) const {
  return ZuvMacStringUtility::utf8_mid(*this, start, count);
}
