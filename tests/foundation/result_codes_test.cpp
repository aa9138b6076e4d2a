// The result-code layout and every row of the text tables, through the getters that read them.
#include <gtest/gtest.h>

#include <set>
#include <string>

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
  EXPECT_TRUE(VQ_FAILED(0x80000000u));
  EXPECT_FALSE(VQ_FAILED(0x7FFFFFFFu));
  EXPECT_EQ(VQ_MODULE(0x801E0083u), 30u);
  EXPECT_EQ(VQ_MODULE(0xFFFF0000u), 0x7FFFu);
  EXPECT_EQ(VQ_SUBMODULE(0x80010204u), 2u);
  EXPECT_TRUE(VQ_IS_GENERAL(0x80220186u));
  EXPECT_FALSE(VQ_IS_GENERAL(0x80220106u));
  EXPECT_EQ(VQ_REASON(0x80220186u), 6u);
}

TEST(ResultCodes, OwnAndGeneralTables) {
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
  ExpectReasons(osspi_ErrorGetString, 0x80060100u,
                {nullptr, "Unknown Error", nullptr, nullptr, "Invalid read pointer",
                 "Invalid write pointer", "Invalid string pointer", "Unknown Error"});
  ExpectReasons(rsrc_ErrorGetString, 0x80160100u, {"Unknown Error", "Invalid resource handle"});
  ExpectReasons(srvspi_ErrorGetString, 0x80010200u,
                {"Unknown error", "something was not found", " internal program problem",
                 " feature not yet implementedd ", " argument is wrong ", " no more memory ",
                 " parameter is out of range ", " too small a buffer was passed as an argument ",
                 " simultaneous multiple thread access not allowed ", " wrong state",
                 " error opening a critical section", "Unknown error"});
  ExpectReasons(hdrpars_ErrorGetString, 0x80220100u,
                {nullptr, "Unknown Error", "WRONG FILE FORMAT", "END OF FILE", "Unknown Error",
                 "TAG MISSING IN DATABLOCK", "DATABLOCK NOT FOUND", nullptr, nullptr,
                 "FILE CONTAINS NO BINARY DATA", "SOME DATA HAS NOT BEEN RELEASED YET"});
  ExpectReasons(
      brk_ErrorGetString, 0x80150100u,
      {"DIRECTORY NOT FOUND", "INVALID COMPONENT", "FILE HAS NO BROKERSTRING",
       "NO ENGINE FOUND WITH SPECIFIED BROKER STRING",
       "BROKER STRING IS INVALID OR CANNOT BE FOUND", "COULD NOT READ REQUESTED DATA",
       "COULD NOT LOAD THE REQUESTED MODULE",
       "SOME MODULES (DATA OR INTERFACES) WERE NOT RELEASED YET", "INTERFACE COULD NOT BE FOUND",
       "TAG COULD NOT BE FOUND", "SPECIFIED MODULE COULD NOT BE FOUND", nullptr, "Unknown module"});
  ExpectReasons(
      edct_ErrorGetString, 0x801E0000u,
      {"Entry is not found in the dictionary or in the list of dictionaries.",
       "The WriteStream callback function returned an error.",
       "The ReadStream callback function returned an error.",
       "Unknown format specified in the edct_DctWriteStream or edct_DctReadStream functions.",
       "Dictionary is opened read-only.", "The entry data contains data that is invalid.",
       "The dictionary is still registered on some dictionary manager.",
       "An attempt is made to register a dictionary while this dictionary was already "
       "registered.",
       "A dictionary that was assumed to be registered isn't.", "The provided buffer is corrupt.",
       "The registercount-value is wrong.", "The resource-handle is invalid.", "Unknown Error",
       "The iterator has ended already", "Iterator on dictionary is open. No changes allowed.",
       "Unknown Error"});
}

// The reading rules of each getter: successes, general reasons, delegation, fallbacks.
const Row kRules[] = {
    {vq_ErrorGetString, 0, "Succes."},
    {vq_ErrorGetString, 0x80010204u, "Unknown error. This Error is not a general error."},
    {vq_ErrorGetString, 0x00010201u, "Unknown error. This Error is not a general error."},
    // The shared rule: any success is "Success", a general reason goes to the general
    // table, the module id is not looked at, no row gives the fallback.
    {heap_ErrorGetString, 0x00010201u, "Success"},
    {heap_ErrorGetString, 0x80140186u, " allocation problem (out of memory?)."},
    {heap_ErrorGetString, 0x80060104u, "Unknown error"},
    {critsec_ErrorGetString, 0x80060104u, "Unknown Error"},
    {critsec_ErrorGetString, 0x00000081u, "Success"},
    {safeh_ErrorGetString, 0x80170101u, "Unknown Error"},
    {safeh_ErrorGetString, 0x80170189u, " invalid handle passed to this function"},
    {osspi_ErrorGetString, 0x80160104u, "Invalid read pointer"},
    {osspi_ErrorGetString, 0x00010201u, "Success"},
    {rsrc_ErrorGetString, 0x80990183u,
     " an unexpected nullpointer has been passed to this function."},
    {hdrpars_ErrorGetString, 0x00220104u, "Success"},
    // srvspi_: only 0 is "Success", general successes go to the general table.
    {srvspi_ErrorGetString, 0, "Success"},
    {srvspi_ErrorGetString, 0x00010201u, "Unknown error"},
    {srvspi_ErrorGetString, 6, "Unknown error"},
    {srvspi_ErrorGetString, 0x00010181u, " false succes"},
    {srvspi_ErrorGetString, 0x80010189u, " invalid handle passed to this function"},
    // The broker: successes, general reasons, its own module, the data header module.
    {brk_ErrorGetString, 0x00150104u, "Success"},
    {brk_ErrorGetString, 0x80150186u, " allocation problem (out of memory?)."},
    {brk_ErrorGetString, 0x80220102u, "WRONG FILE FORMAT"},
    {brk_ErrorGetString, 0x80010204u, "Unknown module"},
    // The dictionaries delegate arrays, probes, locks and resources, but not data headers.
    {edct_ErrorGetString, 0, "Success"},
    {edct_ErrorGetString, 0x801E0083u,
     " an unexpected nullpointer has been passed to this function."},
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
  } queries[] = {{critsec_GetVersion, 0x01000002u, 0x80140183u},
                 {heap_GetVersion, 0x01000002u, 0x800B0183u},
                 {osspi_SpiGetVersion, 0x01010002u, 0x80060183u},
                 {srvspi_SpiGetVersion, 0x01000003u, 0x80010204u},
                 {edct_GetVersion, 0xFFFFFFFFu, 0x801E0083u}};
  for (const auto &q : queries) {
    EXPECT_EQ(q.query(&version), 0u);
    EXPECT_EQ(version, q.value);
    EXPECT_EQ(q.query(nullptr), q.nullCode);
  }
  dbg_GetVersion(&version);
  EXPECT_EQ(version, 0x01010001u);
}

}  // namespace
