// Helpers of the broker tests: root directories laid out per test with header files made byte
// by byte, the test component modules copied into them, the events those modules report,
// short forms of the queries, and the loop over failing allocations.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <initializer_list>
#include <mutex>
#include <random>
#include <string>
#include <vector>

#include "dataheader/fixtures.h"
#include "speechcommon.h"

namespace brktest {

using Strings = std::vector<std::string>;

inline std::u16string Wide(std::string_view ascii) {
  return std::u16string(ascii.begin(), ascii.end());
}
// "<name>value</name>" and a line end.
inline std::u16string T(std::u16string_view name, std::u16string_view value) {
  const std::u16string n(name);
  return u"<" + n + u">" + std::u16string(value) + u"</" + n + u">\r\n";
}
// COMPTYPE, BROKERSTRING and NAME, then `more`.
inline std::u16string Component(std::u16string_view type, std::u16string_view brokerString,
                                std::u16string_view more = u"", std::u16string_view name = u"n") {
  return T(u"COMPTYPE", type) + T(u"BROKERSTRING", brokerString) + T(u"NAME", name) +
         std::u16string(more);
}
// DLL and GETINTERFACE (each left out when empty).
inline std::u16string Code(std::u16string_view dll, std::u16string_view entry) {
  return (dll.empty() ? u"" : T(u"DLL", dll)) + (entry.empty() ? u"" : T(u"GETINTERFACE", entry));
}

// A temporary root directory, filled by the test.
struct Root : sctest::TempDir {
  void Header(const std::string &relative, std::u16string_view body,
              std::string_view tail = "") const {
    Write(relative, hdrtest::HeaderFile(body, tail));
  }
  // A DATA component whose blocks lie back to back after its header.
  void Data(const std::string &relative, std::u16string_view brokerString,
            std::initializer_list<std::pair<std::u16string, std::string>> blocks,
            std::u16string more = u"") const {
    std::string data;
    for (const auto &[name, bytes] : blocks) {
      more += u"<DATABLOCK>" + T(u"BROKERSTRING", name) +
              T(u"OFFSET", Wide(std::to_string(data.size()))) +
              T(u"SIZE", Wide(std::to_string(bytes.size()))) + u"</DATABLOCK>\r\n";
      data += bytes;
    }
    Header(relative, Component(u"DATA", brokerString, more),
           hdrtest::Le(u"\r\n<BINARYDATA>") + data + hdrtest::Le(u"</BINARYDATA>\r\n</VQS>"));
  }
  // Copies a built component module into the tree.
  void Install(const char *module, const std::string &relative) const {
    std::filesystem::create_directories(std::filesystem::path(Path(relative)).parent_path());
    std::filesystem::copy_file(module, Path(relative),
                               std::filesystem::copy_options::overwrite_existing);
  }
};

// The events the component modules reported ("engine: init e1", ...), through the hook that
// module_test.cpp exports.
inline std::mutex g_eventsMutex;
inline std::vector<std::string> g_events;
inline std::vector<std::string> TakeEvents() {
  std::lock_guard<std::mutex> hold(g_eventsMutex);
  return std::exchange(g_events, {});
}
inline int Count(const std::vector<std::string> &events, std::string_view event) {
  return static_cast<int>(std::count(events.begin(), events.end(), event));
}
// Every module loaded since the last TakeEvents was unloaded again.
inline void ExpectNothingLoaded() {
  const std::vector<std::string> events = TakeEvents();
  for (const std::string module : {"engine", "addon"})
    EXPECT_EQ(Count(events, module + ": load"), Count(events, module + ": unload")) << module;
}

// A class over the root with its own lock. At the end of the scope the objects it opened are
// closed (those still open), then the class, which must close: nothing may be left in use.
class Class {
 public:
  explicit Class(const Root &root, BrkResolveCallback callback = nullptr) {
    EXPECT_EQ(brk_ClassOpenEx(&cls_, root.Path().c_str(), g_vqNullHandle, callback), 0u);
  }
  ~Class() {
    for (BrkObject *object : objects_)
      brk_ObjClose(object);
    EXPECT_EQ(cls_ ? brk_ClassClose(cls_) : 0u, 0u) << "the test left something in use";
  }
  operator BrkClass *() const { return cls_; }
  BrkObject *Open(const char *engine = nullptr, const char *language = nullptr,
                  BrkResolveCallback callback = nullptr) {
    BrkObject *object = nullptr;
    EXPECT_EQ(brk_ObjOpen(&object, engine, language, cls_, callback), 0u) << (engine ? engine : "");
    objects_.push_back(object);
    return object;
  }

 private:
  BrkClass *cls_ = nullptr;
  std::vector<BrkObject *> objects_;
};

// Query results as text: the value, or "error 0x...". A failure other than a missing
// argument must have cleared the output.
inline std::string Error(VQRESULT code) {
  char text[24];
  std::snprintf(text, sizeof text, "error 0x%08X", code);
  return text;
}
inline std::string TagOf(BrkObject *object, const char *brokerString, const char *tag) {
  const char16_t *value = u"unchanged";
  const VQRESULT result = brk_TagQuery(object, brokerString, tag, &value);
  EXPECT_TRUE(!result || result == BRK_E_INVALID_ARGUMENT || !value);
  return result ? Error(result) : hdrtest::Ascii(value);
}
inline std::string InfoOf(BrkObject *object, const char *brokerString) {
  char *answer = reinterpret_cast<char *>(&answer);
  const VQRESULT result = brk_InfoQuery(object, brokerString, &answer);
  EXPECT_TRUE(!result || result == BRK_E_INVALID_ARGUMENT || !answer);
  if (result) return Error(result);
  const std::string text(answer);
  EXPECT_EQ(brk_InfoRelease(object, answer), 0u);
  return text;
}
inline std::vector<std::string> Listed(BrkObject *object, const char *type) {
  BrkComponentList *list = nullptr;
  std::vector<std::string> strings;
  EXPECT_EQ(brk_ComponentListQuery(object, type, &list), 0u);
  for (uint32_t i = 0; list && i < list->count; ++i)
    strings.emplace_back(list->entries[i].brokerString);
  EXPECT_EQ(list ? brk_ComponentListRelease(object, list) : 0u, 0u);
  return strings;
}

// The loop over failing allocations for broker operations: a refused attempt may give one of
// the `allowed` codes or, having done with less (a scan cut short), succeed; `undo` gives back
// what an attempt left.
template <class Attempt, class Undo>
void ForEachFailingAllocation(std::initializer_list<VQRESULT> allowed, Attempt attempt, Undo undo) {
  sctest::ForEachAllocationFailure(attempt, [&](VQRESULT result, bool failed) {
    undo(result);
    const bool expected = !result || (failed && std::count(allowed.begin(), allowed.end(), result));
    EXPECT_TRUE(expected) << Error(result);
  });
}

// The installation most tests use: an engine with code and an inline add-on; below it add-ons
// in a module of their own, in the engine's library, entry points that cannot serve or give
// null, data and a voice; shared add-ons, data and 17 voices of which voice/h ranks highest; an
// engine without code beside it.
inline const std::string kIndex = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwx";  // 50
inline void Install(const Root &root) {
  root.Install(BRKTEST_ENGINE, "eng/libengine.so");
  root.Header("eng/engine.hdr",
              Component(u"TTSENGINE", u"test/engine",
                        Code(u"libengine.so", u"EngineGetInterface") + T(u"VERSION", u"2.1") +
                            T(u"LANGUAGE", u"en") + u"<ADDON>" +
                            Component(u"PART", u"test/inline", Code(u"", u"PartGetInterface")) +
                            u"</ADDON>",
                        u"Engine"));
  root.Install(BRKTEST_ADDON, "eng/parts/libaddon.so");
  // "test/<name>" in eng/parts/<name>.hdr.
  const auto addon = [&](const char *name, std::u16string_view dll, std::u16string_view entry) {
    root.Header(std::string("eng/parts/") + name + ".hdr",
                Component(u"ADDON", u"test/" + Wide(name), Code(dll, entry)));
  };
  addon("sibling", u"ENGINE", u"PartGetInterface");
  addon("addon", u"libaddon.so", u"AddonGetInterface");
  addon("bare", u"libaddon.so", u"BareGetInterface");
  addon("refuse", u"libaddon.so", u"RefuseGetInterface");
  addon("null", u"libaddon.so", u"NullGetInterface");
  addon("nullpart", u"ENGINE", u"NullPartGetInterface");
  addon("badinit", u"libaddon.so", u"BadInitGetInterface");
  addon("noentry", u"libaddon.so", u"Absent");
  addon("nogetinterface", u"libaddon.so", u"");
  addon("missing", u"absent.so", u"AddonGetInterface");
  root.Data("eng/parts/data.hdr", u"test/data", {{u"data", "0123456789"}, {u"idx", kIndex}},
            T(u"LANGUAGE", u"en") + u"<DATABLOCK>" + T(u"BROKERSTRING", u"nooffset") +
                T(u"SIZE", u"1") + u"</DATABLOCK>");
  root.Header("eng/parts/voice.hdr",
              Component(u"VOICE", u"voice/e",
                        T(u"LANGUAGE", u"de") + T(u"PRIORITY", u"-2") + T(u"VERSION", u"v")));
  root.Install(BRKTEST_ADDON, "shared/s/libaddon.so");
  root.Header("shared/s/addon.hdr",
              Component(u"ADDON", u"shared/addon", Code(u"libaddon.so", u"AddonGetInterface")));
  root.Header("shared/s/inengine.hdr",
              Component(u"PART", u"shared/inengine", Code(u"ENGINE", u"PartGetInterface")));
  root.Header("shared/s/engine.hdr", Component(u"TTSENGINE", u"not/an/engine"));
  root.Data("shared/s/blocks.hdr", u"shared/blocks",
            {{u"data", "shared"}, {u"big", std::string(4000, 'q')}});
  for (char i = 'a'; i <= 'q'; ++i)
    root.Header(
        std::string("shared/") + i + "/v.hdr",
        Component(u"VOICE", u"voice/" + Wide({&i, 1}), i == 'h' ? T(u"PRIORITY", u"9") : u""));
  root.Header("other/engine.hdr", Component(u"ASRENGINE", u"other/engine"));
}

// Tests on that installation; every module they load must be gone at their end.
class Installed : public ::testing::Test {
 protected:
  void SetUp() override {
    TakeEvents();
    Install(root_);
  }
  void TearDown() override { ExpectNothingLoaded(); }
  Root root_;
};

}  // namespace brktest
