// The walk over a component root that explains the broker's choices: it reads every header
// file with the rules the broker applies (which directories hold engines and add-ons, the
// required tags, the ENGINE filter, first reading wins) and says why a file is not taken. The
// library says nothing about the files its scan skips; what it lists and selects comes from
// the library, and the walk only explains.
#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

namespace cli {

struct Component {
  std::string path;  // the header file (for an inline add-on: the engine's, with the element)
  std::string type, brokerString, name, language;
  uint32_t priority = 0;
  std::string dll;  // the DLL value, empty without one
};

struct Engine : Component {
  std::string directory;
  std::vector<Component> addons;  // what an object on the engine reaches before shared ones
};

// A header file the broker skips or shadows, and why.
struct Problem {
  std::string path;
  std::string reason;
};

struct RootWalk {
  std::vector<Engine> engines;    // as the broker lists them, duplicates included
  std::vector<Component> shared;  // the shared add-ons
  std::vector<Problem> problems;  // files skipped, and engines every lookup passes by
  std::set<std::string> types;    // every COMPTYPE of a readable header
  size_t read = 0;                // header files read
};

RootWalk WalkRoot(const std::string &root);

bool EqualIgnoringCase(std::string_view a, std::string_view b);
bool IsEngineType(std::string_view type);
// "5", or "4294967295 (-1)" for a priority that reads as negative.
std::string PriorityText(uint32_t priority);

}  // namespace cli
