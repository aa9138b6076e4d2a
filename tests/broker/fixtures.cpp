#include "fixtures.h"

#include <mutex>
#include <random>

namespace brktest {
namespace {

std::mutex g_eventsMutex;
std::vector<std::string> g_events;

}  // namespace

std::u16string T(std::u16string_view name, std::u16string_view value) {
  std::u16string text = u"<";
  text.append(name).append(u">").append(value).append(u"</").append(name).append(u">\r\n");
  return text;
}

std::u16string Component(std::u16string_view type, std::u16string_view brokerString,
                         std::u16string_view more, std::u16string_view name) {
  return T(u"COMPTYPE", type) + T(u"BROKERSTRING", brokerString) + T(u"NAME", name) +
         std::u16string(more);
}

std::u16string Code(std::u16string_view dll, std::u16string_view entry) {
  return (dll.empty() ? u"" : T(u"DLL", dll)) + (entry.empty() ? u"" : T(u"GETINTERFACE", entry));
}

DataPart Blocks(std::initializer_list<std::pair<std::u16string, std::string>> blocks) {
  DataPart part;
  std::string data;
  for (const auto &[name, bytes] : blocks) {
    const std::string offset = std::to_string(data.size()), size = std::to_string(bytes.size());
    part.elements += u"<DATABLOCK>" + T(u"BROKERSTRING", name) +
                     T(u"OFFSET", std::u16string(offset.begin(), offset.end())) +
                     T(u"SIZE", std::u16string(size.begin(), size.end())) + u"</DATABLOCK>\r\n";
    data += bytes;
  }
  part.tail = hdrtest::Le(u"\r\n<BINARYDATA>") + data + hdrtest::Le(u"</BINARYDATA>\r\n</VQS>");
  return part;
}

Root::Root() {
  std::random_device seed;
  path_ = std::filesystem::temp_directory_path() /
          ("sc_brk_" + std::to_string(seed()) + "_" + std::to_string(seed()));
  std::filesystem::create_directories(path_);
}

Root::~Root() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::string Root::Path(const std::string &relative) const {
  return relative.empty() ? path_.string() : (path_ / relative).string();
}

void Root::Write(const std::string &relative, std::string_view bytes) const {
  const std::filesystem::path file = path_ / relative;
  std::filesystem::create_directories(file.parent_path());
  std::ofstream(file, std::ios::binary).write(bytes.data(), std::streamsize(bytes.size()));
}

void Root::Header(const std::string &relative, std::u16string_view body,
                  std::string_view tail) const {
  Write(relative, hdrtest::HeaderFile(body, tail));
}

void Root::Install(Module module, const std::string &relative) const {
  static const char *const kFiles[] = {BRKTEST_ENGINE, BRKTEST_ADDON, BRKTEST_REFUSE,
                                       BRKTEST_BADINIT, BRKTEST_NOENTRY};
  std::filesystem::create_directories((path_ / relative).parent_path());
  std::filesystem::copy_file(kFiles[static_cast<int>(module)], path_ / relative,
                             std::filesystem::copy_options::overwrite_existing);
}

std::vector<std::string> TakeEvents() {
  std::lock_guard<std::mutex> hold(g_eventsMutex);
  return std::exchange(g_events, {});
}

int Count(const std::vector<std::string> &events, std::string_view event) {
  return static_cast<int>(std::count(events.begin(), events.end(), event));
}

void ExpectNothingLoaded() {
  const std::vector<std::string> events = TakeEvents();
  for (const char *module : {"engine", "addon", "refuse", "badinit", "noentry"})
    EXPECT_EQ(Count(events, std::string(module) + ": load"),
              Count(events, std::string(module) + ": unload"))
        << module;
}

Class::Class(const Root &root, BrkResolveCallback callback) {
  EXPECT_EQ(brk_ClassOpenEx(&cls_, root.Path().c_str(), g_vqNullHandle, callback), 0u);
}

Class::~Class() {
  if (cls_) {
    EXPECT_EQ(brk_ClassClose(cls_), 0u) << "the test left something open";
  }
}

BrkObject *Class::Open(const char *engine, const char *language) const {
  BrkObject *object = nullptr;
  EXPECT_EQ(brk_ObjOpen(&object, engine, language, cls_, nullptr), 0u) << (engine ? engine : "");
  return object;
}

std::string Error(VQRESULT code) {
  char text[24];
  std::snprintf(text, sizeof text, "error 0x%08X", code);
  return text;
}

std::string TagOf(BrkObject *object, const char *brokerString, const char *tag) {
  const char16_t *value = u"unchanged";
  const VQRESULT result = brk_TagQuery(object, brokerString, tag, &value);
  // A missing argument is refused before anything is written.
  if (result && result != kMissing) {
    EXPECT_EQ(value, nullptr);
  }
  return result ? Error(result) : hdrtest::Ascii(value);
}

std::string InfoOf(BrkObject *object, const char *brokerString) {
  char *answer = reinterpret_cast<char *>(&answer);
  const VQRESULT result = brk_InfoQuery(object, brokerString, &answer);
  if (result) {
    if (result != kMissing) {
      EXPECT_EQ(answer, nullptr);
    }
    return Error(result);
  }
  const std::string text(answer);
  EXPECT_EQ(brk_InfoRelease(object, answer), 0u);
  return text;
}

std::vector<std::string> Listed(BrkObject *object, const char *type) {
  BrkComponentList *list = nullptr;
  std::vector<std::string> strings;
  EXPECT_EQ(brk_ComponentListQuery(object, type, &list), 0u);
  for (uint32_t i = 0; list && i < list->count; ++i)
    strings.emplace_back(list->entries[i].brokerString);
  if (list) {
    EXPECT_EQ(brk_ComponentListRelease(object, list), 0u);
  }
  return strings;
}

}  // namespace brktest

// The hook through which the component modules report; they resolve it when loaded.
extern "C" __attribute__((visibility("default"))) void brktest_Event(const char *component,
                                                                     const char *event) {
  std::lock_guard<std::mutex> hold(brktest::g_eventsMutex);
  brktest::g_events.push_back(std::string(component) + ": " + event);
}
