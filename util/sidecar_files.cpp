#include "util/sidecar_files.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "util/folder_ids.h"

namespace cx {
namespace {

constexpr Sidecar kAllSidecars[] = {Sidecar::ResourceFork, Sidecar::FinderData};

const char* suffix(Sidecar kind) {
  return kind == Sidecar::ResourceFork ? ".rsrc" : ".finf";
}

bool remove_if_present(const std::string& path) {
  return unlink(path.c_str()) == 0 || errno == ENOENT;
}

}  // namespace

bool sidecar_path(const char* name, const sfilepath* path, Sidecar kind, std::string& out) {
  if (!valid_file_name(name)) return false;
  const std::string hidden = std::string("._") + name + suffix(kind);
  return entry_path(hidden.c_str(), path, out);
}

bool remove_sidecars(const char* name, const sfilepath* path) {
  bool ok = true;
  for (Sidecar kind : kAllSidecars) {
    std::string p;
    // A name too long for a sidecar cannot have one.
    if (sidecar_path(name, path, kind, p)) ok = remove_if_present(p) && ok;
  }
  return ok;
}

bool move_sidecars(const char* name, const sfilepath* from, const char* new_name,
                   const sfilepath* to) {
  bool ok = true;
  for (Sidecar kind : kAllSidecars) {
    std::string source;
    std::string dest;
    const bool has_source = sidecar_path(name, from, kind, source);
    if (!sidecar_path(new_name, to, kind, dest)) {
      // The new name has no room for a sidecar: only fine if there is none.
      ok = (!has_source || access(source.c_str(), F_OK) != 0) && ok;
      continue;
    }
    if (has_source && std::rename(source.c_str(), dest.c_str()) == 0) continue;
    if (has_source && errno != ENOENT) {
      ok = false;
      continue;
    }
    ok = remove_if_present(dest) && ok;
  }
  return ok;
}

}  // namespace cx
