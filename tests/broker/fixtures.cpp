#include "fixtures.h"

#include <algorithm>
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

DataPart Blocks(std::initializer_list<Block> blocks) {
  DataPart part;
  std::string data;
  for (const Block &block : blocks) {
    const std::string offset = std::to_string(data.size());
    const std::string size = std::to_string(block.bytes.size());
    part.elements += u"<DATABLOCK>" + T(u"BROKERSTRING", block.name) +
                     T(u"OFFSET", std::u16string(offset.begin(), offset.end())) +
                     T(u"SIZE", std::u16string(size.begin(), size.end())) + u"</DATABLOCK>\r\n";
    data += block.bytes;
  }
  part.tail = Le(u"\r\n<BINARYDATA>") + data + Le(u"</BINARYDATA>\r\n</VQS>");
  return part;
}

std::string ModuleFile(Module module) {
  switch (module) {
    case Module::kEngine:
      return BRKTEST_ENGINE;
    case Module::kAddon:
      return BRKTEST_ADDON;
    case Module::kRefuse:
      return BRKTEST_REFUSE;
    case Module::kBadInit:
      return BRKTEST_BADINIT;
    case Module::kNoEntry:
      return BRKTEST_NOENTRY;
  }
  return {};
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
  const std::filesystem::path file = path_ / relative;
  std::filesystem::create_directories(file.parent_path());
  std::filesystem::copy_file(ModuleFile(module), file,
                             std::filesystem::copy_options::overwrite_existing);
}

std::vector<std::string> TakeEvents() {
  std::lock_guard<std::mutex> hold(g_eventsMutex);
  std::vector<std::string> taken;
  taken.swap(g_events);
  return taken;
}

int Count(const std::vector<std::string> &events, std::string_view event) {
  return static_cast<int>(std::count(events.begin(), events.end(), event));
}

Class::Class(const Root &root, BrkResolveCallback callback) {
  EXPECT_EQ(brk_ClassOpenEx(&cls_, root.Path().c_str(), g_vqNullHandle, callback), 0u);
}

Class::~Class() {
  if (cls_) {
    EXPECT_EQ(brk_ClassClose(cls_), 0u) << "the test left something open";
  }
}

BrkObject *Class::Open(const char *engine, const char *language,
                       BrkResolveCallback callback) const {
  BrkObject *object = nullptr;
  EXPECT_EQ(brk_ObjOpen(&object, engine, language, cls_, callback), 0u) << (engine ? engine : "");
  return object;
}

std::string Ascii(const char16_t *text) {
  return hdrtest::Ascii(text);
}

std::vector<std::string> BrokerStrings(const BrkComponentList *list) {
  std::vector<std::string> strings;
  for (uint32_t i = 0; list && i < list->count; ++i)
    strings.emplace_back(list->entries[i].brokerString);
  return strings;
}

}  // namespace brktest

// The hook through which the component modules report; resolved by them at load time.
extern "C" __attribute__((visibility("default"))) void brktest_Event(const char *component,
                                                                     const char *event) {
  std::lock_guard<std::mutex> hold(brktest::g_eventsMutex);
  brktest::g_events.push_back(std::string(component) + ": " + event);
}
