// The WGL4 normalization tables, built at compile time from the folding rules below. Every code
// point that no rule names folds to itself.
#include <cstdint>

#include "zuv/strings/utf8_utility.h"

namespace ZuvMacStringUtility {
namespace {

// The code points first..last fold to `target`, or, when `shifted`, each to itself plus `target`.
struct FoldRule {
  uint32_t first;
  uint32_t last;
  uint32_t target;
  bool shifted;
};

constexpr FoldRule Point(uint32_t codePoint, uint32_t target) {
  return {codePoint, codePoint, target, false};
}
constexpr FoldRule Range(uint32_t first, uint32_t last, uint32_t target) {
  return {first, last, target, false};
}
constexpr FoldRule Shift(uint32_t first, uint32_t last, uint32_t distance) {
  return {first, last, distance, true};
}

// The first rule that names a code point decides.
// clang-format off
constexpr FoldRule kFoldRules[] = {
    // Upper case to lower case. Greek only from Alpha to Omicron: capital Pi to Omega stay.
    Shift(0x0041, 0x005A, 0x20),
    Shift(0x0391, 0x039F, 0x20),
    Point(0x0419, 0x0438), Shift(0x0410, 0x042F, 0x20),
    Point(0x0490, 0x0491),

    // Latin letters with diacritics to the plain lower-case letter.
    Point(0x00AA, 'a'), Range(0x00C0, 0x00C5, 'a'), Range(0x00E0, 0x00E5, 'a'),
    Range(0x0100, 0x0105, 'a'),
    Point(0x00C7, 'c'), Point(0x00E7, 'c'), Range(0x0106, 0x010D, 'c'),
    Range(0x010E, 0x010F, 'd'),
    Range(0x00C8, 0x00CB, 'e'), Range(0x00E8, 0x00EB, 'e'), Range(0x0112, 0x011B, 'e'),
    Range(0x011C, 0x0123, 'g'),
    Range(0x0124, 0x0125, 'h'),
    Range(0x00CC, 0x00CF, 'i'), Range(0x00EC, 0x00EF, 'i'), Range(0x0128, 0x0130, 'i'),
    Range(0x0132, 0x0133, 'i'),
    Range(0x0134, 0x0135, 'j'),
    Range(0x0136, 0x0137, 'k'),
    Range(0x0139, 0x0140, 'l'), Point(0x2113, 'l'),
    Point(0x00D1, 'n'), Point(0x00F1, 'n'), Range(0x0143, 0x0149, 'n'),
    Point(0x00BA, 'o'), Range(0x00D2, 0x00D6, 'o'), Range(0x00F2, 0x00F6, 'o'),
    Range(0x014C, 0x0151, 'o'),
    Range(0x0154, 0x0159, 'r'),
    Range(0x015A, 0x0161, 's'), Point(0x017F, 's'),
    Range(0x0162, 0x0165, 't'),
    Range(0x00D9, 0x00DC, 'u'), Range(0x00F9, 0x00FC, 'u'), Range(0x0168, 0x0173, 'u'),
    Range(0x0174, 0x0175, 'w'), Range(0x1E80, 0x1E85, 'w'),
    Point(0x00DD, 'y'), Point(0x00FD, 'y'), Point(0x00FF, 'y'), Range(0x0176, 0x0178, 'y'),
    Range(0x1EF2, 0x1EF3, 'y'),
    Range(0x0179, 0x017E, 'z'),

    // Letters with a stroke and ligatures to their own lower-case form. Æ, Ð, Ø, Þ, ß and their
    // partners stay.
    Point(0x0110, 0x0111), Point(0x0126, 0x0127), Point(0x0141, 0x0142), Point(0x0152, 0x0153),
    Point(0x0166, 0x0167),
    Range(0x01FA, 0x01FB, 0x00E5), Range(0x01FC, 0x01FD, 0x00E6), Range(0x01FE, 0x01FF, 0x00F8),

    // Greek with tonos to the plain lower-case letter, and the signs that go with Greek.
    Point(0x0386, 0x03B1), Point(0x0388, 0x03B5), Point(0x0389, 0x03B7), Point(0x038A, 0x03B9),
    Point(0x038C, 0x03BF), Point(0x038E, 0x03C5), Point(0x038F, 0x03C9), Point(0x0390, 0x03CA),
    Point(0x0385, 0x00A8), Point(0x0387, 0x00B7), Point(0x00B5, 0x03BC), Point(0x2126, 0x03C9),

    // Cyrillic with diacritics to the base letter; the other capitals of the block to their
    // lower case.
    Point(0x0401, 0x0435), Point(0x0451, 0x0435), Point(0x0403, 0x0433), Point(0x0453, 0x0433),
    Point(0x040C, 0x043A), Point(0x045C, 0x043A), Point(0x040E, 0x0443), Point(0x045E, 0x0443),
    Point(0x0407, 0x0456), Point(0x0457, 0x0456), Point(0x0439, 0x0438),
    Point(0x0402, 0x0452), Shift(0x0404, 0x0406, 0x50), Shift(0x0408, 0x040B, 0x50),
    Point(0x040F, 0x045F),

    // Spacing marks to a space.
    Point(0x00A0, ' '), Point(0x00A8, ' '), Point(0x00AF, ' '), Point(0x00B4, ' '),
    Point(0x00B8, ' '), Range(0x02D8, 0x02DB, ' '), Point(0x02DD, ' '), Point(0x0384, ' '),

    // Superscript digits to digits.
    Point(0x00B9, '1'), Point(0x00B2, '2'), Point(0x00B3, '3'),
};
// clang-format on

consteval uint32_t Fold(uint32_t page, uint32_t low) {
  const uint32_t codePoint = page << 8 | low;
  for (const FoldRule& rule : kFoldRules) {
    if (codePoint >= rule.first && codePoint <= rule.last) {
      return rule.shifted ? codePoint + rule.target : rule.target;
    }
  }
  return codePoint;
}

}  // namespace

// The braced initializer of one page: its 256 entries, sixteen rows of sixteen.
#define ZUV_WGL4_ROW(page, row)                                                                   \
  Fold(page, row + 0x0), Fold(page, row + 0x1), Fold(page, row + 0x2), Fold(page, row + 0x3),     \
      Fold(page, row + 0x4), Fold(page, row + 0x5), Fold(page, row + 0x6), Fold(page, row + 0x7), \
      Fold(page, row + 0x8), Fold(page, row + 0x9), Fold(page, row + 0xA), Fold(page, row + 0xB), \
      Fold(page, row + 0xC), Fold(page, row + 0xD), Fold(page, row + 0xE), Fold(page, row + 0xF)
#define ZUV_WGL4_PAGE(page)                                                           \
  {                                                                                   \
    ZUV_WGL4_ROW(page, 0x00), ZUV_WGL4_ROW(page, 0x10), ZUV_WGL4_ROW(page, 0x20),     \
        ZUV_WGL4_ROW(page, 0x30), ZUV_WGL4_ROW(page, 0x40), ZUV_WGL4_ROW(page, 0x50), \
        ZUV_WGL4_ROW(page, 0x60), ZUV_WGL4_ROW(page, 0x70), ZUV_WGL4_ROW(page, 0x80), \
        ZUV_WGL4_ROW(page, 0x90), ZUV_WGL4_ROW(page, 0xA0), ZUV_WGL4_ROW(page, 0xB0), \
        ZUV_WGL4_ROW(page, 0xC0), ZUV_WGL4_ROW(page, 0xD0), ZUV_WGL4_ROW(page, 0xE0), \
        ZUV_WGL4_ROW(page, 0xF0)                                                      \
  }

const WGL4NormalizationPage WGL4_Normalization_00 = ZUV_WGL4_PAGE(0x00);
const WGL4NormalizationPage WGL4_Normalization_01 = ZUV_WGL4_PAGE(0x01);
const WGL4NormalizationPage WGL4_Normalization_02 = ZUV_WGL4_PAGE(0x02);
const WGL4NormalizationPage WGL4_Normalization_03 = ZUV_WGL4_PAGE(0x03);
const WGL4NormalizationPage WGL4_Normalization_04 = ZUV_WGL4_PAGE(0x04);
const WGL4NormalizationPage WGL4_Normalization_1e = ZUV_WGL4_PAGE(0x1E);
const WGL4NormalizationPage WGL4_Normalization_21 = ZUV_WGL4_PAGE(0x21);

#undef ZUV_WGL4_PAGE
#undef ZUV_WGL4_ROW

// Pages 0x22 to 0xFF are null too.
const uint32_t* const WGL4NormalizationTables[256] = {
    // 0x00 - 0x07
    WGL4_Normalization_00,
    WGL4_Normalization_01,
    WGL4_Normalization_02,
    WGL4_Normalization_03,
    WGL4_Normalization_04,
    nullptr,
    nullptr,
    nullptr,
    // 0x08 - 0x17
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    // 0x18 - 0x1F
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    WGL4_Normalization_1e,
    nullptr,
    // 0x20 - 0x21
    nullptr,
    WGL4_Normalization_21,
};

}  // namespace ZuvMacStringUtility
