// The result-code layout, the families' code tables as their text getters read them, and the
// reading rules of those getters.
#include <gtest/gtest.h>

#include <set>
#include <span>
#include <string>
#include <tuple>
#include <type_traits>

#include "speechcommon.h"

namespace {

using Getter = const char *(*)(VQRESULT);

TEST(ResultCodes, LayoutMacros) {
  EXPECT_TRUE(VQ_FAILED(0x80000000u) && !VQ_FAILED(0x7FFFFFFFu));
  EXPECT_TRUE(VQ_IS_GENERAL(0x80220186u) && !VQ_IS_GENERAL(0x80220106u));
  EXPECT_EQ(std::tuple(VQ_MODULE(0x801E0083u), VQ_MODULE(0xFFFF0000u), VQ_SUBMODULE(0x80010204u),
                       VQ_REASON(0x80220186u)),
            std::tuple(30u, 0x7FFFu, 2u, 6u));
}

// The rows of each family's code table, as the getter must read them: its own text, or (null)
// the general text of the code's reason. Unlisted codes have no text; the rules below pin what
// the getters give for them.
struct Row {
  VQRESULT code;
  const char *text;
};
#define SC_CODE(code, name, text) {name, text},
#define SC_CODE_GENERAL(code, name) {name, nullptr},
#define SC_CODE_UNLISTED(code, name, doc)
constexpr Row kCritsecTable[] = {
#include "foundation/critsec_codes.def"
};
constexpr Row kHeapTable[] = {
#include "foundation/heap_codes.def"
};
constexpr Row kOsspiTable[] = {
#include "foundation/osspi_codes.def"
};
constexpr Row kRsrcTable[] = {
#include "foundation/rsrc_codes.def"
};
constexpr Row kSafehTable[] = {
#include "foundation/safeh_codes.def"
};
constexpr Row kSrvspiTable[] = {
#include "foundation/srvspi_codes.def"
};
constexpr Row kHdrparsTable[] = {
#include "dataheader/hdrpars_codes.def"
};
constexpr Row kBrkTable[] = {
#include "broker/brk_codes.def"
};
constexpr Row kEdctTable[] = {
#include "dictionary/edct_codes.def"
};
#undef SC_CODE
#undef SC_CODE_GENERAL
#undef SC_CODE_UNLISTED

TEST(ResultCodes, GettersReadTheirTables) {
  const std::pair<Getter, std::span<const Row>> families[] = {
      {critsec_ErrorGetString, kCritsecTable}, {heap_ErrorGetString, kHeapTable},
      {osspi_ErrorGetString, kOsspiTable},     {rsrc_ErrorGetString, kRsrcTable},
      {safeh_ErrorGetString, kSafehTable},     {srvspi_ErrorGetString, kSrvspiTable},
      {hdrpars_ErrorGetString, kHdrparsTable}, {brk_ErrorGetString, kBrkTable},
      {edct_ErrorGetString, kEdctTable}};
  std::set<VQRESULT> seen;
  for (const auto &[get, rows] : families) {
    for (const Row &row : rows) {
      EXPECT_STREQ(get(row.code), row.text ? row.text : vq_ErrorGetString(row.code))
          << std::hex << row.code;
      EXPECT_TRUE(seen.insert(row.code).second) << std::hex << row.code;
    }
  }
  // The general reasons, failures and successes alike, whatever the module.
#define SC_GENERAL_FAILURE(reason, name, text) \
  EXPECT_STREQ(vq_ErrorGetString(0x80630180u | reason), text);
#define SC_GENERAL_SUCCESS(reason, name, text) \
  EXPECT_STREQ(vq_ErrorGetString(0x00220180u | reason), text);
#include "foundation/general_codes.def"
#undef SC_GENERAL_FAILURE
#undef SC_GENERAL_SUCCESS
}

// The names are constants of the result type, so they compare with a VQRESULT without a sign
// warning and serve as case labels.
static_assert(std::is_same_v<decltype(EDCT_E_NOT_FOUND), VQRESULT>);
static_assert(std::is_same_v<decltype(SRVSPI_S_ARRAY_NO_ELEMENT), VQRESULT>);

// The reading rules of each getter: successes, general reasons, delegation, fallbacks.
const struct {
  Getter get;
  VQRESULT code;
  const char *text;
} kRules[] = {
    {vq_ErrorGetString, 0, "Succes."},
    {vq_ErrorGetString, 0x80010191u, "Unknown general error "},
    {vq_ErrorGetString, 0x00220180u, "Unknown general succes "},
    {vq_ErrorGetString, 0x00220183u, "Unknown general succes "},
    {vq_ErrorGetString, 0x80010204u, "Unknown error. This Error is not a general error."},
    {vq_ErrorGetString, 0x00010201u, "Unknown error. This Error is not a general error."},
    // Reasons without a row of their own give the family's fallback.
    {osspi_ErrorGetString, 0x80060101u, "Unknown Error"},
    {osspi_ErrorGetString, 0x80060107u, "Unknown Error"},
    {rsrc_ErrorGetString, 0x80160100u, "Unknown Error"},
    {srvspi_ErrorGetString, 0x80010200u, "Unknown error"},
    {srvspi_ErrorGetString, 0x8001010Bu, "Unknown error"},
    {hdrpars_ErrorGetString, 0x80220101u, "Unknown Error"},
    {hdrpars_ErrorGetString, 0x80220104u, "Unknown Error"},
    {brk_ErrorGetString, 0x8015010Cu, "Unknown module"},
    {edct_ErrorGetString, 0x801E000Fu, "Unknown Error"},
    // The shared rule: any success is "Success", a general reason goes to the general
    // table, the module id is not looked at, no row gives the fallback.
    {heap_ErrorGetString, 0x00010201u, "Success"},
    {heap_ErrorGetString, 0x80140186u, vq_ErrorGetString(0x80140186u)},
    {heap_ErrorGetString, 0x80060104u, "Unknown error"},
    {critsec_ErrorGetString, 0x80060104u, "Unknown Error"},
    {critsec_ErrorGetString, 0x00000081u, "Success"},
    {safeh_ErrorGetString, 0x80170101u, "Unknown Error"},
    {safeh_ErrorGetString, 0x80170189u, vq_ErrorGetString(0x80170189u)},
    {osspi_ErrorGetString, 0x80160104u, osspi_ErrorGetString(OSSPI_E_INVALID_READ_POINTER)},
    {osspi_ErrorGetString, 0x00010201u, "Success"},
    {rsrc_ErrorGetString, 0x80990183u, vq_ErrorGetString(0x80990183u)},
    // srvspi_: only 0 is "Success", general successes go to the general table.
    {srvspi_ErrorGetString, 0, "Success"},
    {srvspi_ErrorGetString, 0x00010181u, vq_ErrorGetString(0x00010181u)},
    {srvspi_ErrorGetString, 0x80010189u, vq_ErrorGetString(0x80010189u)},
    // The broker: successes, general reasons, its own module, the data header module.
    {brk_ErrorGetString, 0x00150104u, "Success"},
    {brk_ErrorGetString, 0x80150186u, vq_ErrorGetString(0x80150186u)},
    {brk_ErrorGetString, 0x80220102u, hdrpars_ErrorGetString(0x80220102u)},
    {brk_ErrorGetString, 0x80010204u, "Unknown module"},
    // The dictionaries delegate arrays, probes, locks and resources, but not data headers.
    {edct_ErrorGetString, 0, "Success"},
    {edct_ErrorGetString, 0x801E0083u, vq_ErrorGetString(0x801E0083u)},
    {edct_ErrorGetString, 0x80010207u, srvspi_ErrorGetString(0x80010207u)},
    {edct_ErrorGetString, 0x80060105u, osspi_ErrorGetString(0x80060105u)},
    {edct_ErrorGetString, 0x80140101u, "Unknown Error"},
    {edct_ErrorGetString, 0x80160101u, rsrc_ErrorGetString(0x80160101u)},
    {edct_ErrorGetString, 0x80220102u, "Unknown Module"},
    // Codes without a text of their own. The dictionaries' getter reads the reason whatever
    // the failure bit says.
    {srvspi_ErrorGetString, SRVSPI_S_ARRAY_NOT_FOUND, "Unknown error"},
    {srvspi_ErrorGetString, SRVSPI_S_ARRAY_NO_ELEMENT, "Unknown error"},
    {hdrpars_ErrorGetString, HDRPARS_S_NO_ELEMENT, "Success"},
    {edct_ErrorGetString, EDCT_E_NOTIFY_FAILED, "Unknown Error"},
    {edct_ErrorGetString, EDCT_S_END_OF_STREAM, edct_ErrorGetString(EDCT_E_WRITESTREAM_FAILED)},
    // Submodule names.
    {critsec_ErrorGetSubModuleName, 0x80140100u, "csspi"},
    {critsec_ErrorGetSubModuleName, 0x80140200u, "unknown submodule"},
    {critsec_ErrorGetSubModuleName, 0x80148100u, "unknown submodule"},
    {critsec_ErrorGetSubModuleName, 0x80630100u, "Wrong module"},
    {heap_ErrorGetSubModuleName, 0x000B0100u, "heap"},
    {heap_ErrorGetSubModuleName, 0x800B0000u, "Unknown SubModule"},
    {heap_ErrorGetSubModuleName, 0x80630100u, "Wrong Module"},
    {osspi_ErrorGetSubModuleName, 0x80060104u, "osspi"},
    {osspi_ErrorGetSubModuleName, 0x80060204u, "unknown submodule"},
    {osspi_ErrorGetSubModuleName, 0x80160104u, "Wrong module"},
    {rsrc_ErrorGetSubModuleName, 0x80160101u, "rsrc"},
    {rsrc_ErrorGetSubModuleName, 0x80160201u, "unknown submodule"},
    {rsrc_ErrorGetSubModuleName, 0x80060101u, "Wrong module"},
    {safeh_ErrorGetSubModuleName, 0x80170189u, "Safe Handle"},
    {safeh_ErrorGetSubModuleName, 0x80170289u, "unknown submodule"},
    {safeh_ErrorGetSubModuleName, 0x80160189u, "Wrong module"},
    {hdrpars_ErrorGetSubModuleName, 0x80220102u, "Parser submodule"},
    {hdrpars_ErrorGetSubModuleName, 0x80220202u, "unknown submodule"},
    {hdrpars_ErrorGetSubModuleName, 0x80210102u, "Wrong module"},
    {srvspi_ErrorGetSubModuleName, 0x80010183u, " secure"},
    {srvspi_ErrorGetSubModuleName, 0x80010204u, " array "},
    {srvspi_ErrorGetSubModuleName, 0x80010304u, " unknown module "},
    {srvspi_ErrorGetSubModuleName, 0x80060104u, " wrong module"},
    {brk_ErrorGetSubModuleName, 0x80150107u, "Broker submodule"},
    {brk_ErrorGetSubModuleName, 0x80150207u, "Unknown submodule"},
    {brk_ErrorGetSubModuleName, 0x80220102u, "Error originates in a sub module"},
    {edct_ErrorGetSubModuleName, 0, "Success"},
    {edct_ErrorGetSubModuleName, 0x801E0004u, "EDCTSPI"},
    {edct_ErrorGetSubModuleName, 0x80010207u, " array "},
    {edct_ErrorGetSubModuleName, 0x80060105u, "osspi"},
    {edct_ErrorGetSubModuleName, 0x80140183u, "csspi"},
    {edct_ErrorGetSubModuleName, 0x80160101u, "rsrc"},
    {edct_ErrorGetSubModuleName, 0x80220102u, "Unknown Module"},
    // Module names.
    {vq_ErrorGetModuleName, 0x801E0083u, "EDCTSPI"},
    {vq_ErrorGetModuleName, 0x80150107u, "BROKER"},
    {vq_ErrorGetModuleName, 0x00480000u, "Unknown Module"},
    {vq_ErrorGetModuleName, 0xFFFF0000u, "Unknown Module"},
};

TEST(ResultCodes, ReadingRules) {
  for (const auto &row : kRules)
    EXPECT_STREQ(row.get(row.code), row.text) << std::hex << row.code;
}

TEST(ResultCodes, ModuleNamesCoverEveryIdOnce) {
  std::set<std::string> names;
  for (uint32_t id = 1; id < 72; ++id)
    names.insert(vq_ErrorGetModuleName(id << 16));
  names.insert(vq_ErrorGetModuleName(0));
  EXPECT_EQ(names.size(), 72u);
  EXPECT_EQ(names.count("Unknown Module"), 1u);  // row 0 only
  // Every family's module-name getter is the same reading.
  for (Getter get : {critsec_ErrorGetModuleName, heap_ErrorGetModuleName, osspi_ErrorGetModuleName,
                     rsrc_ErrorGetModuleName, safeh_ErrorGetModuleName, srvspi_ErrorGetModuleName,
                     hdrpars_ErrorGetModuleName, edct_ErrorGetModuleName})
    for (uint32_t id = 0; id < 80; ++id)
      EXPECT_STREQ(get(0x80000000u | id << 16), vq_ErrorGetModuleName(id << 16));
}

TEST(ResultCodes, VersionQueries) {
  uint32_t version = 0;
  using Query = VQRESULT (*)(uint32_t *);
  const struct {
    Query query;
    uint32_t value;
    VQRESULT nullCode;
  } queries[] = {{critsec_GetVersion, 0x01000002u, CRITSEC_E_NULL_POINTER},
                 {heap_GetVersion, 0x01000002u, HEAP_E_NULL_POINTER},
                 {osspi_SpiGetVersion, 0x01010002u, OSSPI_E_NULL_POINTER},
                 {srvspi_SpiGetVersion, 0x01000003u, SRVSPI_E_ARRAY_INVALID_ARGUMENT},
                 {edct_GetVersion, 0xFFFFFFFFu, EDCT_E_NULL_POINTER}};
  for (const auto &q : queries) {
    EXPECT_EQ(q.query(&version), 0u);
    EXPECT_EQ(version, q.value);
    EXPECT_EQ(q.query(nullptr), q.nullCode);
  }
  dbg_GetVersion(&version);
  EXPECT_EQ(version, 0x01010001u);
}

}  // namespace
