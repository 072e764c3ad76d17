#include "foundation/confined_path.h"

#include <cstddef>
#include <utility>
#include <vector>

#include "foundation/item_path.h"

namespace pellam {

namespace {

constexpr int mostLinks = 40;  // as many as a system follows

std::string joined(const std::vector<std::string>& names) {
  std::string path;
  for (const std::string& name : names) {
    if (!path.empty()) path += '/';
    path += name;
  }
  return path;
}

}  // namespace

bool isConfinedPath(std::string_view path) {
  for (;;) {
    const std::size_t slash = path.find('/');
    if (!isPlainFileName(path.substr(0, slash))) return false;
    if (slash == std::string_view::npos) return true;
    path.remove_prefix(slash + 1);
  }
}

LinkEnd followLinks(const std::string& path, const LinkLookup& lookup) {
  int followed = 0;
  std::vector<std::string> place;          // where the walk stands, all links resolved
  std::vector<std::string> waiting{path};  // what is still to be walked, the next piece last
  while (!waiting.empty()) {
    const std::string piece = std::move(waiting.back());
    waiting.pop_back();
    if (const std::size_t slash = piece.find('/'); slash != std::string::npos) {
      waiting.push_back(piece.substr(slash + 1));
      waiting.push_back(piece.substr(0, slash));
      continue;
    }
    if (piece.empty() || piece == ".") continue;
    if (piece == "..") {
      if (place.empty()) return LinkEnd::outside;
      place.pop_back();
      continue;
    }
    place.push_back(piece);
    const std::optional<std::string> target = lookup(joined(place), waiting.empty());
    if (!target) continue;
    if (target->empty()) return LinkEnd::nowhere;
    if (target->starts_with('/')) return LinkEnd::outside;
    if (++followed > mostLinks) return LinkEnd::circle;
    place.pop_back();
    waiting.push_back(*target);
  }
  return LinkEnd::inside;
}

}  // namespace pellam
