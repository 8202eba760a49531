// zuv text OPERATION: the string operations on texts given on the command line, for trying them
// from the shell. Texts are read, and results shown, in the system encoding.
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

#include "tools/zuv/command.h"
#include "zuv/strings/string_ops.h"

namespace {

CZuvStringData Text(const std::string& argument) {
  return CZuvStringData(ZuvCharSystem(argument.c_str()));
}

void Show(const CZuvStringData& result) {
  std::cout << '"' << result.GetPtrSystemEncoding() << '"'
            << (result.HasValueUtf8() ? "" : "  (no value)") << '\n';
}

struct Operation {
  const char* name;
  size_t texts;  // how many arguments it takes
  void (*run)(const std::vector<std::string>& texts);
};

const Operation kOperations[] = {
    {"split", 2,
     [](const std::vector<std::string>& t) {
       std::vector<CZuvStringData> pieces;
       ZuvStringDataSplit(Text(t[0]), Text(t[1]), &pieces);
       std::cout << pieces.size() << (pieces.size() == 1 ? " piece\n" : " pieces\n");
       for (const CZuvStringData& piece : pieces) Show(piece);
     }},
    {"replace", 3,
     [](const std::vector<std::string>& t) {
       Show(ZuvStringDataReplace(Text(t[0]), Text(t[1]), Text(t[2])));
     }},
    {"trim", 2,
     [](const std::vector<std::string>& t) { Show(ZuvStringDataTrim(Text(t[0]), Text(t[1]))); }},
    {"trimleft", 2,
     [](const std::vector<std::string>& t) {
       Show(ZuvStringDataTrimLeft(Text(t[0]), Text(t[1])));
     }},
    {"trimright", 2,
     [](const std::vector<std::string>& t) {
       Show(ZuvStringDataTrimRight(Text(t[0]), Text(t[1])));
     }},
    {"upper", 1, [](const std::vector<std::string>& t) { Show(ZuvStringDataUpper(Text(t[0]))); }},
    {"lower", 1, [](const std::vector<std::string>& t) { Show(ZuvStringDataLower(Text(t[0]))); }},
    {"cmp", 2,
     [](const std::vector<std::string>& t) {
       std::cout << ZuvStringDataCmp(Text(t[0]), Text(t[1])) << '\n';
     }},
    {"cmpi", 2,
     [](const std::vector<std::string>& t) {
       std::cout << ZuvStringDataCmpi(Text(t[0]), Text(t[1])) << '\n';
     }},
};

}  // namespace

bool IsTextOperation(std::string_view name) {
  for (const Operation& operation : kOperations) {
    if (name == operation.name) return true;
  }
  return false;
}

int RunTextOperation(const std::string& name, const std::vector<std::string>& texts) {
  for (const Operation& operation : kOperations) {
    if (name != operation.name) continue;
    if (texts.size() != operation.texts) {
      return ZuvToolUsageError("text", name + " takes " + std::to_string(operation.texts) +
                                           (operation.texts == 1 ? " text" : " texts"));
    }
    operation.run(texts);
    return kZuvToolSuccess;
  }
  return ZuvToolUsageError("text", "unknown operation '" + name + "'");
}
