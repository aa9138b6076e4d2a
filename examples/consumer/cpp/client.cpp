// A C++ client of an installed speechcommon: two dictionaries read from text in memory through
// the stream callback, searched through a manager (the user's words first), each handle owned
// by a small RAII wrapper. Exits with 0 when every lookup gave what it should.
#include <speechcommon.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <string>
#include <string_view>

namespace {

void Check(VQRESULT code, const char *step) {
  if (VQ_FAILED(code))
    throw std::runtime_error(std::string(step) + ": " + edct_ErrorGetString(code));
}

// A handle closed by the given function when it goes out of scope.
template <VQRESULT (*Close)(SafeHandle)>
class Handle {
 public:
  Handle() = default;
  Handle(const Handle &) = delete;
  Handle &operator=(const Handle &) = delete;
  ~Handle() {
    if (handle_.pointer) Close(handle_);
  }
  SafeHandle get() const { return handle_; }
  SafeHandle *out() { return &handle_; }

 private:
  SafeHandle handle_ = g_vqNullHandle;
};
using Dictionary = Handle<edct_DctClose>;
using Manager = Handle<edct_DctMgrClose>;

// The stream reader asks for up to *count bytes at a time; this hands out a string in pieces.
struct TextSource {
  std::string_view rest;
  static VQRESULT Read(void *user, void *buffer, uint32_t *count) {
    auto *source = static_cast<TextSource *>(user);
    const size_t n = std::min<size_t>(*count, source->rest.size());
    std::memcpy(buffer, source->rest.data(), n);
    source->rest.remove_prefix(n);
    *count = static_cast<uint32_t>(n);
    return 0;
  }
};

void Load(Dictionary &dictionary, std::string_view text) {
  Check(
      edct_DctOpen(g_vqNullHandle, nullptr, EDCT_OPEN_WRITABLE, nullptr, nullptr, dictionary.out()),
      "open");
  TextSource source{text};
  Check(edct_DctReadStream(dictionary.get(), TextSource::Read, EDCT_FORMAT_UTF8, &source), "read");
}

constexpr std::string_view kLexicon =
    "[Header]\nName = lexicon\n\n[SubHeader]\nLanguage = en-US\n"
    "Content = EDCT_CONTENT_ORTHOGRAPHIC\nRepresentation = EDCT_REPR_SZ_STRING\n\n[Data]\n"
    "Dr.\tDoctor\nSt.\tStreet\n";
constexpr std::string_view kUserWords =
    "[Header]\nName = user words\n\n[SubHeader]\nLanguage = en-US\n"
    "Content = EDCT_CONTENT_ORTHOGRAPHIC\nRepresentation = EDCT_REPR_SZ_STRING\n\n[Data]\n"
    "St.\tSaint\n";

// The text the manager finds for a word, or "" when no dictionary has it.
std::string LookUp(const Manager &manager, const char16_t *word) {
  EDCT_ENTRY *entries = nullptr;
  uint32_t count = 0;
  SafeHandle owner;
  const VQRESULT code =
      edct_DctMgrGetEntryData(manager.get(), word, nullptr, &entries, &count, &owner);
  if (VQ_FAILED(code)) return "";
  std::string text(static_cast<const char *>(entries[0].Data));
  edct_DctFreeEntryData(owner, entries, count);
  return text;
}

}  // namespace

int main() {
  std::printf("speechcommon %s (%d.%d.%d)\n", SC_VERSION_STRING, SC_VERSION_MAJOR, SC_VERSION_MINOR,
              SC_VERSION_PATCH);
  try {
    Dictionary lexicon, userWords;
    Load(lexicon, kLexicon);
    Load(userWords, kUserWords);
    Manager manager;
    Check(edct_DctMgrOpen(g_vqNullHandle, manager.out()), "open the manager");
    Check(edct_DctMgrRegisterDct(manager.get(), lexicon.get(), 0), "register");
    Check(edct_DctMgrRegisterDct(manager.get(), userWords.get(), 1), "register first");

    struct Expected {
      const char16_t *word;
      const char *label, *text;  // "" when no dictionary has the word
    };
    int wrong = 0;
    for (const Expected &e : {Expected{u"Dr.", "Dr.", "Doctor"}, Expected{u"St.", "St.", "Saint"},
                              Expected{u"Mr.", "Mr.", ""}}) {
      const std::string found = LookUp(manager, e.word);
      std::printf("%-4s -> %s\n", e.label, found.empty() ? "(not found)" : found.c_str());
      wrong += found != e.text;
    }
    // The manager is closed first, as locals go in reverse: a registered dictionary cannot be.
    return wrong ? 1 : 0;
  } catch (const std::exception &error) {
    std::fprintf(stderr, "client_cpp: %s\n", error.what());
    return 1;
  }
}
