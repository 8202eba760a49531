// zuv: a command-line window on the library. `zuv COMMAND [ARGUMENTS...]`; `zuv --help` lists the
// commands, and `zuv` alone shows the text command on its built-in sample.
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

#include "tools/zuv/command.h"

namespace {

const ZuvToolCommand kCommands[] = {
    {"text", "[--] [TEXT...] | OPERATION TEXT...",
     "shows how the string value holds each TEXT: characters, UTF-8, UTF-16 and system encoding",
     "    Each TEXT is read as text in the system encoding (the codeset of the locale named by\n"
     "    LC_ALL, LC_CTYPE or LANG; UTF-8 under a UTF-8 locale and under C/POSIX). Without TEXT,\n"
     "    a built-in sample of Latin, Greek, Japanese and non-BMP text is shown, read as UTF-8.\n"
     "    Arguments after -- are taken as text even when they begin with '-' or name an\n"
     "    operation. The operations show the result of a string operation:\n"
     "      split TEXT SEPARATOR       replace TEXT FIND WITH     trim|trimleft|trimright TEXT "
     "CHARS\n"
     "      upper TEXT   lower TEXT    cmp A B   cmpi A B\n",
     RunTextCommand},
    {"time", "[parse TEXT | format VALUE64]",
     "shows a time in its three text forms and as its 64-bit value",
     "    Without arguments, the current time. 'parse' reads TEXT as \"yyyy/MM/dd\",\n"
     "    \"yyyy/MM/dd HH:mm:ss\" or the 17 digits \"yyyyMMddHHmmss000\" (its digits are taken by\n"
     "    position); 'format' takes a count of 1/65536 seconds since 1904-01-01 00:00:00 UTC, in\n"
     "    decimal or in hexadecimal after 0x. Local time is that of the system time zone (TZ).\n",
     RunTimeCommand},
    {"info", "PATH...",
     "shows what a file handle knows of each item: names, size, times, attributes and medium",
     "    For each PATH: the display and stored names, the size, the creation, modification and\n"
     "    access times (local time), the attributes for the current user, the file type by\n"
     "    extension, the drive type of its volume and whether that volume has less than 100 MiB\n"
     "    free. A missing PATH is reported and makes the exit status 1.\n",
     RunInfoCommand},
    {"types", "[--check-folder] [--] [PATH...]",
     "lists the file types by extension, or shows the file type of each PATH",
     "    Without PATH, every extension of the table with its type value and name. With PATH, the\n"
     "    type by the text after the last \".\" of the whole path, ignoring case; with\n"
     "    --check-folder (-f), an existing item whose attributes are exactly those of a folder\n"
     "    has no type.\n",
     RunTypesCommand},
    {"swap", "A B", "exchanges the contents of two files, each keeping its name and place",
     "    Locked files are unlocked for the swap and locked again. Where the volume cannot\n"
     "    exchange two files in place, they are exchanged by renames, undone if a step fails.\n",
     RunSwapCommand},
    {"mkdir", "PARENT NAME", "creates the folder NAME in PARENT and shows its path", "",
     RunMkdirCommand},
    {"rename", "PATH NAME", "renames an item within its folder and shows its new path",
     "    A locked item is renamed too and stays locked.\n", RunRenameCommand},
    {"rm", "PATH...", "deletes each file, and each folder with everything in it",
     "    Symbolic links are removed, never followed. A failure is reported and the next PATH is\n"
     "    tried.\n",
     RunRmCommand},
    {"trash", "PATH...", "moves each file or folder to the user's trash",
     "    Items go where the desktop's file manager and 'gio trash --list' find them: the home\n"
     "    trash ($XDG_DATA_HOME/Trash) for items on the home volume, a volume's own .Trash-UID\n"
     "    for items on other volumes. An item that could not be trashed (missing, not movable,\n"
     "    or on a volume without a trash, such as a tmpfs) is reported and stays where it was.\n",
     RunTrashCommand},
    {"copy", "[--replace] [--quiet] [--verify] SOURCE... DEST",
     "copies files and folders into the folder DEST, or one item to the new path DEST",
     "    Each SOURCE lands in DEST under its own name; with one SOURCE, DEST may also be the\n"
     "    new item's path. An item already there is reported and kept, unless --replace is\n"
     "    given. Links are copied as links; modes, times and user.* attributes are kept. On a\n"
     "    terminal a progress bar counts the items (--quiet turns it off). Ctrl-C cancels:\n"
     "    nothing partial is left, and the exit status is 130. --verify reads every copied file\n"
     "    back from the device and compares it with its source; a file that differs is named\n"
     "    and the command fails.\n",
     RunCopyCommand},
    {"move", "[--replace] [--quiet] [--verify] SOURCE... DEST",
     "moves files and folders into the folder DEST, or one item to the new path DEST",
     "    As copy. Across volumes each item is copied, made durable, and only then removed from\n"
     "    its place; after Ctrl-C or a failure the source is whole and nothing is left at DEST.\n"
     "    With --verify a source is removed only once its copy read back as it was copied.\n",
     RunMoveCommand},
    {"tempfile", "[--project NAME] [--suffix .EXT]",
     "creates a new temporary file in the project temp folder and shows its path",
     "    The folder is $TMPDIR/zuv-UID/Merid[/NAME]/RTL; the file is named ZuvTmp and four\n"
     "    digits, then .EXT as given.\n",
     RunTempfileCommand},
};

const ZuvToolCommand* FindCommand(std::string_view name) {
  for (const ZuvToolCommand& command : kCommands) {
    if (name == command.name) return &command;
  }
  return nullptr;
}

void PrintHelp() {
  std::cout << "Usage: zuv [COMMAND [ARGUMENTS...]]\n"
               "Without a command, runs 'zuv text' on its built-in sample.\n\nCommands:\n";
  for (const ZuvToolCommand& command : kCommands) {
    std::cout << "  " << command.name << ' ' << command.arguments << "\n    " << command.summary
              << '\n'
              << command.details;
  }
  std::cout << "  --help\n    shows this help\n\nExit status:\n  " << kZuvToolSuccess
            << "  success\n  " << kZuvToolFailure
            << "  an operation failed; each failure is one line,\n"
               "     zuv COMMAND: PATH: reason (kZuvErrName number)\n  "
            << kZuvToolUsageError << "  a usage error\n  " << kZuvToolCanceled
            << "  canceled with Ctrl-C (copy, move)\n";
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> arguments(argv + 1, argv + argc);
  if (arguments.empty()) return RunTextCommand({});
  const std::string& name = arguments.front();
  if (name == "--help" || name == "-h" || name == "help") {
    PrintHelp();
    return kZuvToolSuccess;
  }
  const ZuvToolCommand* command = FindCommand(name);
  if (command == nullptr) return ZuvToolUsageError("", "unknown command '" + name + "'");
  return command->run({arguments.begin() + 1, arguments.end()});
}
