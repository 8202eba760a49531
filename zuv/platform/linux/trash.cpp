#include "zuv/platform/trash.h"

#include <gio/gio.h>

#include "zuv/paths/internal/path_text.h"

namespace zuv::platform {
namespace {

// The freedesktop.org trash through GIO: the home trash ($XDG_DATA_HOME/Trash) for items on the
// device of $HOME, else the volume's own .Trash-$uid. GIO refuses volumes it counts as internal
// to the system (a tmpfs, the root of a system folder) and volumes where no trash can be made.
// Files are made through the local VFS, so that no GIO module (gvfs, dconf) is loaded into the
// caller's process.
class GioTrash final : public Trash {
 public:
  bool Recycle(const std::string& folder, const std::vector<std::string>& names) override {
    if (folder.empty() || folder.front() != '/') return false;
    bool all = true;
    for (const std::string& name : names) {
      if (name.empty()) continue;
      if (!paths_internal::IsOneComponent(name) ||
          !TrashItem(paths_internal::JoinPath(folder, name))) {
        all = false;
      }
    }
    return all;
  }

 private:
  static bool TrashItem(const std::string& path) {
    GFile* file = g_vfs_get_file_for_path(g_vfs_get_local(), path.c_str());
    GError* error = nullptr;
    const bool trashed = g_file_trash(file, nullptr, &error) != FALSE;
    g_clear_error(&error);
    g_object_unref(file);
    return trashed;
  }
};

}  // namespace

template <>
Trash& Replaceable<Trash>::Real() {
  static GioTrash trash;
  return trash;
}

}  // namespace zuv::platform
