#include "broker/text.h"

#include <cstring>

#include "sc_heap.h"

namespace sc::brk {
namespace {

template <class Char>
Char *Join(HeapInstance heap, std::basic_string_view<Char> directory,
           std::basic_string_view<Char> name) {
  const size_t length = directory.size() + 1 + name.size();
  auto *path = static_cast<Char *>(heap_Alloc(heap, (length + 1) * sizeof(Char)));
  if (!path) return nullptr;
  std::memcpy(path, directory.data(), directory.size() * sizeof(Char));
  path[directory.size()] = Char('/');
  std::memcpy(path + directory.size() + 1, name.data(), name.size() * sizeof(Char));
  path[length] = 0;
  return path;
}

}  // namespace

char *JoinPath(HeapInstance heap, std::string_view directory, std::string_view name) {
  return Join(heap, directory, name);
}

char16_t *JoinPath(HeapInstance heap, std::u16string_view directory, std::u16string_view name) {
  return Join(heap, directory, name);
}

bool PathStaysBelow(std::u16string_view root, std::u16string_view directory,
                    std::u16string_view name) {
  if (!directory.starts_with(root)) return false;
  size_t depth = 0;
  for (std::u16string_view rest : {directory.substr(root.size()), name}) {
    while (!rest.empty()) {
      const size_t slash = rest.find(u'/');
      const std::u16string_view part = rest.substr(0, slash);
      rest = slash == std::u16string_view::npos ? std::u16string_view() : rest.substr(slash + 1);
      if (part.empty() || part == u".") continue;
      if (part != u"..")
        ++depth;
      else if (depth-- == 0)
        return false;
    }
  }
  return true;
}

bool EqualIgnoringCase(std::u16string_view a, std::u16string_view b) {
  return a.size() == b.size() && PrefixEqualIgnoringCase(a, b, a.size());
}

bool PrefixEqualIgnoringCase(std::u16string_view a, std::u16string_view b, size_t length) {
  if (a.size() < length || b.size() < length) return false;
  for (size_t i = 0; i < length; ++i)
    if (a[i] != b[i] && FoldAscii(a[i]) != FoldAscii(b[i])) return false;
  return true;
}

Tag *FindTag(Tag *first, const char16_t *name) {
  Tag *found = nullptr;
  hdrpars_FindTag(first, name, &found);
  return found;
}

char16_t *SplitDataName(char16_t *brokerString) {
  const size_t length = View(brokerString).size();
  if (length < 3) return nullptr;
  for (size_t i = length - 2; i >= 1; --i) {
    if (brokerString[i] == u':') {
      brokerString[i] = 0;
      return brokerString + i + 1;
    }
  }
  return nullptr;
}

}  // namespace sc::brk
