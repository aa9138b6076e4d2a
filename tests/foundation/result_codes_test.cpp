// The result-code layout, every public code name and every row of the text tables, through the
// getters that read them.
#include <gtest/gtest.h>

#include <iterator>
#include <set>
#include <span>
#include <string>
#include <type_traits>
#include <vector>

#include "speechcommon.h"

namespace {

using Getter = const char *(*)(VQRESULT);

struct Row {
  Getter get;
  VQRESULT code;
  const char *text;
};

// Runs `get` over reason codes base|0, base|1, ... and compares with `texts` (null: skip).
void ExpectReasons(Getter get, VQRESULT base, std::initializer_list<const char *> texts) {
  uint32_t reason = 0;
  for (const char *text : texts) {
    const VQRESULT code = base | reason++;
    if (text) {
      EXPECT_STREQ(get(code), text) << std::hex << code;
    }
  }
}

TEST(ResultCodes, LayoutMacros) {
  EXPECT_EQ(VQ_MODULE(0xFFFF0000u), 0x7FFFu);
  EXPECT_EQ(VQ_SUBMODULE(0x80010204u), 2u);
  EXPECT_TRUE(VQ_IS_GENERAL(0x80220186u) && !VQ_IS_GENERAL(0x80220106u));
  EXPECT_EQ(VQ_REASON(0x80220186u), 6u);
}

TEST(ResultCodes, GeneralTable) {
  ExpectReasons(vq_ErrorGetString, 0x80010180u,
                {" unexpected event inside algorithm.", " functionality not yet implemented.",
                 " an invalid argument has been passed to this function.",
                 " an unexpected nullpointer has been passed to this function.",
                 " at least one parameter is out of range.",
                 " the buffer presented to this function is too small.",
                 " allocation problem (out of memory?).", " object busy.", " object not present.",
                 " invalid handle passed to this function", " object is read-only->probably in use",
                 " error opening file", " error closing file", " error reading from file",
                 " error writing to file", " error seeking in file", " object is in a wrong state",
                 "Unknown general error "});
  ExpectReasons(vq_ErrorGetString, 0x00220180u,
                {"Unknown general succes ", " false succes", " object already present",
                 "Unknown general succes "});
}

// Every public name of a family with a text of its own, its number and what the family's
// getter gives for it. Each list must name every such row of the family's code table, so a
// code added there is pinned here too; the names of general reasons are checked against the
// general table.
struct Pin {
  VQRESULT name;
  VQRESULT value;
  const char *text;
};

// The names each code table gives, as the build generated them, and whether each stands for a
// general reason.
struct Named {
  VQRESULT name;
  bool general;
};
#define SC_CODE(code, name, text) {name, false},
#define SC_CODE_GENERAL(code, name) {name, true},
#define SC_CODE_UNLISTED(code, name, doc) {name, false},
constexpr Named kCritsecTable[] = {
#include "foundation/critsec_codes.def"
};
constexpr Named kHeapTable[] = {
#include "foundation/heap_codes.def"
};
constexpr Named kOsspiTable[] = {
#include "foundation/osspi_codes.def"
};
constexpr Named kRsrcTable[] = {
#include "foundation/rsrc_codes.def"
};
constexpr Named kSafehTable[] = {
#include "foundation/safeh_codes.def"
};
constexpr Named kSrvspiTable[] = {
#include "foundation/srvspi_codes.def"
};
constexpr Named kHdrparsTable[] = {
#include "dataheader/hdrpars_codes.def"
};
constexpr Named kBrkTable[] = {
#include "broker/brk_codes.def"
};
constexpr Named kEdctTable[] = {
#include "dictionary/edct_codes.def"
};
#undef SC_CODE
#undef SC_CODE_GENERAL
#undef SC_CODE_UNLISTED

const struct {
  const char *family;
  Getter get;
  uint32_t module;
  std::span<const Named> table;
  std::vector<Pin> pins;
} kNames[] = {
    {"critsec", critsec_ErrorGetString, 0x14, kCritsecTable, {}},
    {"heap", heap_ErrorGetString, 0x0B, kHeapTable, {}},
    {"osspi",
     osspi_ErrorGetString,
     0x06,
     kOsspiTable,
     {{OSSPI_E_INVALID_READ_POINTER, 0x80060104u, "Invalid read pointer"},
      {OSSPI_E_INVALID_WRITE_POINTER, 0x80060105u, "Invalid write pointer"},
      {OSSPI_E_INVALID_STRING_POINTER, 0x80060106u, "Invalid string pointer"}}},
    {"rsrc",
     rsrc_ErrorGetString,
     0x16,
     kRsrcTable,
     {{RSRC_E_INVALID_RESOURCE, 0x80160101u, "Invalid resource handle"}}},
    {"safeh", safeh_ErrorGetString, 0x17, kSafehTable, {}},
    {"srvspi",
     srvspi_ErrorGetString,
     0x01,
     kSrvspiTable,
     {{SRVSPI_E_ARRAY_NOT_FOUND, 0x80010201u, "something was not found"},
      {SRVSPI_E_ARRAY_INTERNAL_ERROR, 0x80010202u, " internal program problem"},
      {SRVSPI_E_ARRAY_NOT_IMPLEMENTED, 0x80010203u, " feature not yet implementedd "},
      {SRVSPI_E_ARRAY_INVALID_ARGUMENT, 0x80010204u, " argument is wrong "},
      {SRVSPI_E_ARRAY_OUT_OF_MEMORY, 0x80010205u, " no more memory "},
      {SRVSPI_E_ARRAY_OUT_OF_RANGE, 0x80010206u, " parameter is out of range "},
      {SRVSPI_E_ARRAY_BUFFER_TOO_SMALL, 0x80010207u,
       " too small a buffer was passed as an argument "},
      {SRVSPI_E_SEC_CONCURRENT_ACCESS, 0x80010108u,
       " simultaneous multiple thread access not allowed "},
      {SRVSPI_E_SEC_WRONG_STATE, 0x80010109u, " wrong state"},
      {SRVSPI_E_SEC_LOCK_OPEN_FAILED, 0x8001010Au, " error opening a critical section"},
      {SRVSPI_S_ARRAY_NOT_FOUND, 0x00010201u, "Unknown error"},
      {SRVSPI_S_ARRAY_NO_ELEMENT, 0x00000006u, "Unknown error"}}},
    {"hdrpars",
     hdrpars_ErrorGetString,
     0x22,
     kHdrparsTable,
     {{HDRPARS_E_WRONG_FORMAT, 0x80220102u, "WRONG FILE FORMAT"},
      {HDRPARS_E_END_OF_FILE, 0x80220103u, "END OF FILE"},
      {HDRPARS_E_TAG_MISSING, 0x80220105u, "TAG MISSING IN DATABLOCK"},
      {HDRPARS_E_DATABLOCK_NOT_FOUND, 0x80220106u, "DATABLOCK NOT FOUND"},
      {HDRPARS_E_NO_BINARY_DATA, 0x80220109u, "FILE CONTAINS NO BINARY DATA"},
      {HDRPARS_E_STILL_MAPPED, 0x8022010Au, "SOME DATA HAS NOT BEEN RELEASED YET"},
      {HDRPARS_S_NO_ELEMENT, 0x00220104u, "Success"}}},
    {"brk",
     brk_ErrorGetString,
     0x15,
     kBrkTable,
     {{BRK_E_DIRECTORY_NOT_FOUND, 0x80150100u, "DIRECTORY NOT FOUND"},
      {BRK_E_INVALID_COMPONENT, 0x80150101u, "INVALID COMPONENT"},
      {BRK_E_NO_BROKER_STRING, 0x80150102u, "FILE HAS NO BROKERSTRING"},
      {BRK_E_ENGINE_NOT_FOUND, 0x80150103u, "NO ENGINE FOUND WITH SPECIFIED BROKER STRING"},
      {BRK_E_BROKER_STRING_NOT_FOUND, 0x80150104u, "BROKER STRING IS INVALID OR CANNOT BE FOUND"},
      {BRK_E_CANNOT_READ_DATA, 0x80150105u, "COULD NOT READ REQUESTED DATA"},
      {BRK_E_CANNOT_LOAD_MODULE, 0x80150106u, "COULD NOT LOAD THE REQUESTED MODULE"},
      {BRK_E_STILL_IN_USE, 0x80150107u, "SOME MODULES (DATA OR INTERFACES) WERE NOT RELEASED YET"},
      {BRK_E_INTERFACE_NOT_FOUND, 0x80150108u, "INTERFACE COULD NOT BE FOUND"},
      {BRK_E_TAG_NOT_FOUND, 0x80150109u, "TAG COULD NOT BE FOUND"},
      {BRK_E_MODULE_NOT_FOUND, 0x8015010Au, "SPECIFIED MODULE COULD NOT BE FOUND"},
      {BRK_E_MODULE_OUTSIDE_ROOT, 0x8015010Bu, "MODULE PATH LEAVES THE COMPONENT ROOT"}}},
    {"edct",
     edct_ErrorGetString,
     0x1E,
     kEdctTable,
     {{EDCT_E_NOT_FOUND, 0x801E0000u,
       "Entry is not found in the dictionary or in the list of dictionaries."},
      {EDCT_E_WRITESTREAM_FAILED, 0x801E0001u,
       "The WriteStream callback function returned an error."},
      {EDCT_E_READSTREAM_FAILED, 0x801E0002u,
       "The ReadStream callback function returned an error."},
      {EDCT_E_UNKNOWN_FORMAT, 0x801E0003u,
       "Unknown format specified in the edct_DctWriteStream or edct_DctReadStream functions."},
      {EDCT_E_READ_ONLY, 0x801E0004u, "Dictionary is opened read-only."},
      {EDCT_E_INVALID_DATA, 0x801E0005u, "The entry data contains data that is invalid."},
      {EDCT_E_STILL_REGISTERED, 0x801E0006u,
       "The dictionary is still registered on some dictionary manager."},
      {EDCT_E_ALREADY_REGISTERED, 0x801E0007u,
       "An attempt is made to register a dictionary while this dictionary was already "
       "registered."},
      {EDCT_E_NOT_REGISTERED, 0x801E0008u, "A dictionary that was assumed to be registered isn't."},
      {EDCT_E_CORRUPT, 0x801E0009u, "The provided buffer is corrupt."},
      {EDCT_E_BAD_REGISTER_COUNT, 0x801E000Au, "The registercount-value is wrong."},
      {EDCT_E_INVALID_RESOURCE, 0x801E000Bu, "The resource-handle is invalid."},
      {EDCT_E_NOTIFY_FAILED, 0x801E000Cu, "Unknown Error"},
      {EDCT_E_ITERATOR_ENDED, 0x801E000Du, "The iterator has ended already"},
      {EDCT_E_ITERATOR_OPEN, 0x801E000Eu, "Iterator on dictionary is open. No changes allowed."},
      // The dictionaries' getter reads the reason whatever the failure bit says.
      {EDCT_S_END_OF_STREAM, 0x001E0001u, "The WriteStream callback function returned an error."}}},
};

TEST(ResultCodes, NamesPinnedToValuesAndTexts) {
  for (const auto &[name, get, module, table, pins] : kNames) {
    SCOPED_TRACE(name);
    std::set<VQRESULT> pinned, own;
    for (const Pin &pin : pins) {
      EXPECT_EQ(pin.name, pin.value) << std::hex << pin.value;
      EXPECT_TRUE(pinned.insert(pin.value).second) << std::hex << pin.value;
      EXPECT_STREQ(get(pin.name), pin.text) << std::hex << pin.value;
    }
    for (const Named &row : table) {
      if (!row.general) {
        own.insert(row.name);
        continue;
      }
      EXPECT_TRUE(VQ_FAILED(row.name) && VQ_IS_GENERAL(row.name) && VQ_MODULE(row.name) == module)
          << std::hex << row.name;
      EXPECT_STREQ(get(row.name), vq_ErrorGetString(row.name)) << std::hex << row.name;
    }
    EXPECT_EQ(pinned, own);
  }
}

// The names are constants of the result type, so they compare with a VQRESULT without a sign
// warning and serve as case labels.
static_assert(std::is_same_v<decltype(EDCT_E_NOT_FOUND), VQRESULT>);
static_assert(std::is_same_v<decltype(SRVSPI_S_ARRAY_NO_ELEMENT), VQRESULT>);

// The reading rules of each getter: successes, general reasons, delegation, fallbacks.
const Row kRules[] = {
    {vq_ErrorGetString, 0, "Succes."},
    {vq_ErrorGetString, 0x80010204u, "Unknown error. This Error is not a general error."},
    // Reasons without a row of their own give the family's fallback.
    {osspi_ErrorGetString, 0x80060101u, "Unknown Error"},
    {rsrc_ErrorGetString, 0x80160100u, "Unknown Error"},
    {srvspi_ErrorGetString, 0x80010200u, "Unknown error"},
    {srvspi_ErrorGetString, 0x8001010Bu, "Unknown error"},
    {hdrpars_ErrorGetString, 0x80220104u, "Unknown Error"},
    {brk_ErrorGetString, 0x8015010Cu, "Unknown module"},
    {edct_ErrorGetString, 0x801E000Fu, "Unknown Error"},
    // The shared rule: any success is "Success", a general reason goes to the general
    // table, the module id is not looked at, no row gives the fallback.
    {heap_ErrorGetString, 0x00010201u, "Success"},
    {heap_ErrorGetString, 0x80140186u, " allocation problem (out of memory?)."},
    {heap_ErrorGetString, 0x80060104u, "Unknown error"},
    {critsec_ErrorGetString, 0x80060104u, "Unknown Error"},
    {safeh_ErrorGetString, 0x80170101u, "Unknown Error"},
    {safeh_ErrorGetString, 0x80170189u, " invalid handle passed to this function"},
    {osspi_ErrorGetString, 0x80160104u, "Invalid read pointer"},
    {rsrc_ErrorGetString, 0x80990183u,
     " an unexpected nullpointer has been passed to this function."},
    // srvspi_: only 0 is "Success", general successes go to the general table.
    {srvspi_ErrorGetString, 0, "Success"},
    {srvspi_ErrorGetString, 0x00010181u, " false succes"},
    {srvspi_ErrorGetString, 0x80010189u, " invalid handle passed to this function"},
    // The broker: successes, general reasons, its own module, the data header module.
    {brk_ErrorGetString, 0x00150104u, "Success"},
    {brk_ErrorGetString, 0x80150186u, " allocation problem (out of memory?)."},
    {brk_ErrorGetString, 0x80220102u, "WRONG FILE FORMAT"},
    {brk_ErrorGetString, 0x80010204u, "Unknown module"},
    // The dictionaries delegate arrays, probes, locks and resources, but not data headers.
    {edct_ErrorGetString, 0, "Success"},
    {edct_ErrorGetString, 0x80010207u, " too small a buffer was passed as an argument "},
    {edct_ErrorGetString, 0x80060105u, "Invalid write pointer"},
    {edct_ErrorGetString, 0x80140101u, "Unknown Error"},
    {edct_ErrorGetString, 0x80160101u, "Invalid resource handle"},
    {edct_ErrorGetString, 0x80220102u, "Unknown Module"},
    // Submodule names.
    {critsec_ErrorGetSubModuleName, 0x80140100u, "csspi"},
    {critsec_ErrorGetSubModuleName, 0x80140200u, "unknown submodule"},
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
    {srvspi_ErrorGetSubModuleName, 0x80018104u, " unknown module "},  // all 8 bits count
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
  for (const Row &row : kRules)
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
