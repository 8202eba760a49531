// Uses the installed library through its umbrella header: makes a string value, reads it in UTF-16
// and prints its counts.
#include <cstdio>
#include <zuv/zuv.h>

int main() {
  CZuvStringData text(
      ZuvCharUtf8("Gr\xc3\xbc\xc3\x9f"
                  "e"));
  CZuvStringData copy(text);
  std::printf("%s: %lu characters, %lu UTF-16 bytes\n", copy.GetPtrUtf8(), copy.GetLengthChar(),
              copy.GetLengthByteUnicode());
  return copy.GetLengthChar() == 5 && ZuvIsFailure(ConvertCocoaError(NSPOSIXErrorDomain, 2)) ? 0
                                                                                             : 1;
}
