// The trace configuration read from the environment: level mask, prefix fields and the
// module and submodule lists. Pure functions of their texts.
#pragma once

#include <cstdint>

namespace sc::dbg {

// Level bits (the trace calls' level argument and the level mask).
inline constexpr uint32_t kLevelErr = 1;
inline constexpr uint32_t kLevelFunc = 2;
inline constexpr uint32_t kLevelDetail0 = 4;
inline constexpr uint32_t kLevelDetail1 = 8;
inline constexpr uint32_t kLevelDetail2 = 16;
inline constexpr uint32_t kLevelAll = 255;

// Field bits of the line prefix.
inline constexpr uint32_t kFieldModule = 1;
inline constexpr uint32_t kFieldSubmodule = 2;
inline constexpr uint32_t kFieldInstance = 4;
inline constexpr uint32_t kFieldFunction = 8;
inline constexpr uint32_t kFieldFile = 16;
inline constexpr uint32_t kFieldLine = 32;
inline constexpr uint32_t kFieldLevel = 64;
inline constexpr uint32_t kFieldTime = 128;  // accepted, printed by no field
inline constexpr uint32_t kFieldAll = 255;
inline constexpr uint32_t kFieldDefault =
    kFieldModule | kFieldSubmodule | kFieldFunction | kFieldLine | kFieldLevel;

// The level mask a VQ_TRACELEVEL text gives (null: the variable is not set).
uint32_t LevelMaskFrom(const char *text);
// The field mask a VQ_TRACEINFO text gives (null: the variable is not set).
uint32_t FieldMaskFrom(const char *text);
// Whether a name is active in a VQ_MODULES or VQ_SUBMODULES text (null: not set).
bool NameActive(const char *list, const char *name);
// The name a level prints in the LEVEL field.
const char *LevelName(uint32_t level);

}  // namespace sc::dbg
