// The result-code layout and every text table that a getter reads.
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "speechcommon.h"

namespace {

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

TEST(ResultCodes, GeneralTexts) {
  const char *failures[] = {
      " unexpected event inside algorithm.",
      " functionality not yet implemented.",
      " an invalid argument has been passed to this function.",
      " an unexpected nullpointer has been passed to this function.",
      " at least one parameter is out of range.",
      " the buffer presented to this function is too small.",
      " allocation problem (out of memory?).",
      " object busy.",
      " object not present.",
      " invalid handle passed to this function",
      " object is read-only->probably in use",
      " error opening file",
      " error closing file",
      " error reading from file",
      " error writing to file",
      " error seeking in file",
      " object is in a wrong state",
  };
  for (uint32_t reason = 0; reason < 17; ++reason)
    EXPECT_STREQ(vq_ErrorGetString(0x80010180u | reason), failures[reason]) << reason;
  EXPECT_STREQ(vq_ErrorGetString(0), "Succes.");
  EXPECT_STREQ(vq_ErrorGetString(0x00000081u), " false succes");
  EXPECT_STREQ(vq_ErrorGetString(0x00220182u), " object already present");
  EXPECT_STREQ(vq_ErrorGetString(0x00010183u), "Unknown general succes ");
  EXPECT_STREQ(vq_ErrorGetString(0x00000080u), "Unknown general succes ");
  EXPECT_STREQ(vq_ErrorGetString(0x80010191u), "Unknown general error ");
  EXPECT_STREQ(vq_ErrorGetString(0x80010204u), "Unknown error. This Error is not a general error.");
  EXPECT_STREQ(vq_ErrorGetString(0x00010201u), "Unknown error. This Error is not a general error.");
}

TEST(ResultCodes, ModuleNamesCoverEveryIdOnce) {
  std::set<std::string> names;
  for (uint32_t id = 0; id < 72; ++id) {
    const std::string name = vq_ErrorGetModuleName(id << 16);
    EXPECT_FALSE(name.empty());
    if (id != 0) {
      EXPECT_NE(name, "Unknown Module") << id;
    }
    names.insert(name);
  }
  EXPECT_EQ(names.size(), 72u);
  EXPECT_STREQ(vq_ErrorGetModuleName(0x00480000u), "Unknown Module");
  EXPECT_STREQ(vq_ErrorGetModuleName(0xFFFF0000u), "Unknown Module");
  EXPECT_STREQ(vq_ErrorGetModuleName(0x801E0083u), "EDCTSPI");
  EXPECT_STREQ(vq_ErrorGetModuleName(0x80220102u), "HDRPARS");
  EXPECT_STREQ(vq_ErrorGetModuleName(0x80150107u), "BROKER");
  // Every family's module-name getter is the same reading.
  for (uint32_t code : {0x80010204u, 0x80060104u, 0x80140183u, 0x80990000u}) {
    const std::string expected = vq_ErrorGetModuleName(code);
    EXPECT_EQ(critsec_ErrorGetModuleName(code), expected);
    EXPECT_EQ(heap_ErrorGetModuleName(code), expected);
    EXPECT_EQ(osspi_ErrorGetModuleName(code), expected);
    EXPECT_EQ(rsrc_ErrorGetModuleName(code), expected);
    EXPECT_EQ(safeh_ErrorGetModuleName(code), expected);
    EXPECT_EQ(srvspi_ErrorGetModuleName(code), expected);
    EXPECT_EQ(hdrpars_ErrorGetModuleName(code), expected);
    EXPECT_EQ(edct_ErrorGetModuleName(code), expected);
  }
}

TEST(ResultCodes, FamilyStringsFollowTheSharedRule) {
  using Getter = const char *(*)(VQRESULT);
  struct Family {
    Getter get;
    const char *fallback;
  };
  const Family families[] = {
      {critsec_ErrorGetString, "Unknown Error"}, {heap_ErrorGetString, "Unknown error"},
      {osspi_ErrorGetString, "Unknown Error"},   {rsrc_ErrorGetString, "Unknown Error"},
      {safeh_ErrorGetString, "Unknown Error"},   {hdrpars_ErrorGetString, "Unknown Error"}};
  for (const Family &family : families) {
    EXPECT_STREQ(family.get(0), "Success");
    EXPECT_STREQ(family.get(0x00010201u), "Success");  // any success
    EXPECT_STREQ(family.get(0x00000081u), "Success");
    EXPECT_STREQ(family.get(0x80140186u), " allocation problem (out of memory?).");
    EXPECT_STREQ(family.get(0x80990111u), family.fallback);
  }
  // The module id is not looked at: a code of another family gets this family's reading.
  EXPECT_STREQ(heap_ErrorGetString(0x80060104u), "Unknown error");
  EXPECT_STREQ(critsec_ErrorGetString(0x80060104u), "Unknown Error");
  EXPECT_STREQ(osspi_ErrorGetString(0x80160104u), "Invalid read pointer");
  EXPECT_STREQ(osspi_ErrorGetString(0x80060105u), "Invalid write pointer");
  EXPECT_STREQ(osspi_ErrorGetString(0x80060106u), "Invalid string pointer");
  EXPECT_STREQ(osspi_ErrorGetString(0x80060101u), "Unknown Error");
  EXPECT_STREQ(rsrc_ErrorGetString(0x80160101u), "Invalid resource handle");
  EXPECT_STREQ(safeh_ErrorGetString(0x80170101u), "Unknown Error");
  EXPECT_STREQ(hdrpars_ErrorGetString(0x80220102u), "WRONG FILE FORMAT");
  EXPECT_STREQ(hdrpars_ErrorGetString(0x80220103u), "END OF FILE");
  EXPECT_STREQ(hdrpars_ErrorGetString(0x80220105u), "TAG MISSING IN DATABLOCK");
  EXPECT_STREQ(hdrpars_ErrorGetString(0x80220106u), "DATABLOCK NOT FOUND");
  EXPECT_STREQ(hdrpars_ErrorGetString(0x80220109u), "FILE CONTAINS NO BINARY DATA");
  EXPECT_STREQ(hdrpars_ErrorGetString(0x8022010Au), "SOME DATA HAS NOT BEEN RELEASED YET");
  EXPECT_STREQ(hdrpars_ErrorGetString(0x80220104u), "Unknown Error");
}

TEST(ResultCodes, SrvspiStrings) {
  const char *own[] = {nullptr,
                       "something was not found",
                       " internal program problem",
                       " feature not yet implementedd ",
                       " argument is wrong ",
                       " no more memory ",
                       " parameter is out of range ",
                       " too small a buffer was passed as an argument ",
                       " simultaneous multiple thread access not allowed ",
                       " wrong state",
                       " error opening a critical section"};
  for (uint32_t reason = 1; reason <= 10; ++reason)
    EXPECT_STREQ(srvspi_ErrorGetString(0x80010200u | reason), own[reason]) << reason;
  EXPECT_STREQ(srvspi_ErrorGetString(0x80010100u), "Unknown error");
  EXPECT_STREQ(srvspi_ErrorGetString(0x8001020Bu), "Unknown error");
  EXPECT_STREQ(srvspi_ErrorGetString(0), "Success");
  EXPECT_STREQ(srvspi_ErrorGetString(0x00010201u), "Unknown error");
  EXPECT_STREQ(srvspi_ErrorGetString(6), "Unknown error");
  // A general success goes to the general table, unlike the other families.
  EXPECT_STREQ(srvspi_ErrorGetString(0x00010181u), " false succes");
  EXPECT_STREQ(srvspi_ErrorGetString(0x80010189u), " invalid handle passed to this function");
  EXPECT_STREQ(osspi_ErrorGetString(0x00010201u), "Success");
}

TEST(ResultCodes, SubModuleNames) {
  struct Row {
    const char *(*get)(VQRESULT);
    uint32_t module;
    const char *name;
    const char *wrong;
    const char *unknown;
  };
  const Row rows[] = {
      {critsec_ErrorGetSubModuleName, 20, "csspi", "Wrong module", "unknown submodule"},
      {heap_ErrorGetSubModuleName, 11, "heap", "Wrong Module", "Unknown SubModule"},
      {osspi_ErrorGetSubModuleName, 6, "osspi", "Wrong module", "unknown submodule"},
      {rsrc_ErrorGetSubModuleName, 22, "rsrc", "Wrong module", "unknown submodule"},
      {safeh_ErrorGetSubModuleName, 23, "Safe Handle", "Wrong module", "unknown submodule"},
      {hdrpars_ErrorGetSubModuleName, 34, "Parser submodule", "Wrong module", "unknown submodule"},
  };
  for (const Row &row : rows) {
    EXPECT_STREQ(row.get(0x80000100u | (row.module << 16)), row.name);
    EXPECT_STREQ(row.get(0x00000100u | (row.module << 16)), row.name);  // successes too
    EXPECT_STREQ(row.get(0x80000200u | (row.module << 16)), row.unknown);
    EXPECT_STREQ(row.get(0x80000000u | (row.module << 16)), row.unknown);
    EXPECT_STREQ(row.get(0x80630100u), row.wrong);
  }
  EXPECT_STREQ(srvspi_ErrorGetSubModuleName(0x80010183u), " secure");
  EXPECT_STREQ(srvspi_ErrorGetSubModuleName(0x80010204u), " array ");
  EXPECT_STREQ(srvspi_ErrorGetSubModuleName(0x80060104u), " wrong module");
  EXPECT_STREQ(srvspi_ErrorGetSubModuleName(0x80010304u), " unknown module ");
}

TEST(ResultCodes, BrokerGetters) {
  const char *own[] = {"DIRECTORY NOT FOUND",
                       "INVALID COMPONENT",
                       "FILE HAS NO BROKERSTRING",
                       "NO ENGINE FOUND WITH SPECIFIED BROKER STRING",
                       "BROKER STRING IS INVALID OR CANNOT BE FOUND",
                       "COULD NOT READ REQUESTED DATA",
                       "COULD NOT LOAD THE REQUESTED MODULE",
                       "SOME MODULES (DATA OR INTERFACES) WERE NOT RELEASED YET",
                       "INTERFACE COULD NOT BE FOUND",
                       "TAG COULD NOT BE FOUND",
                       "SPECIFIED MODULE COULD NOT BE FOUND"};
  for (uint32_t reason = 0; reason <= 10; ++reason)
    EXPECT_STREQ(brk_ErrorGetString(0x80150100u | reason), own[reason]) << reason;
  EXPECT_STREQ(brk_ErrorGetString(0x8015010Cu), "Unknown module");
  EXPECT_STREQ(brk_ErrorGetString(0x80220102u), "WRONG FILE FORMAT");
  EXPECT_STREQ(brk_ErrorGetString(0x80220186u), " allocation problem (out of memory?).");
  EXPECT_STREQ(brk_ErrorGetString(0x80150186u), " allocation problem (out of memory?).");
  EXPECT_STREQ(brk_ErrorGetString(0x80010204u), "Unknown module");
  EXPECT_STREQ(brk_ErrorGetString(0x00150104u), "Success");
  EXPECT_STREQ(brk_ErrorGetSubModuleName(0x80150107u), "Broker submodule");
  EXPECT_STREQ(brk_ErrorGetSubModuleName(0x80150207u), "Unknown submodule");
  EXPECT_STREQ(brk_ErrorGetSubModuleName(0x80220102u), "Error originates in a sub module");
}

TEST(ResultCodes, DictionaryGetters) {
  const char *own[] = {
      "Entry is not found in the dictionary or in the list of dictionaries.",
      "The WriteStream callback function returned an error.",
      "The ReadStream callback function returned an error.",
      "Unknown format specified in the edct_DctWriteStream or edct_DctReadStream functions.",
      "Dictionary is opened read-only.",
      "The entry data contains data that is invalid.",
      "The dictionary is still registered on some dictionary manager.",
      "An attempt is made to register a dictionary while this dictionary was already "
      "registered.",
      "A dictionary that was assumed to be registered isn't.",
      "The provided buffer is corrupt.",
      "The registercount-value is wrong.",
      "The resource-handle is invalid.",
      nullptr,
      "The iterator has ended already",
      "Iterator on dictionary is open. No changes allowed."};
  for (uint32_t reason = 0; reason <= 14; ++reason)
    if (own[reason]) {
      EXPECT_STREQ(edct_ErrorGetString(0x801E0000u | reason), own[reason]);
    }
  EXPECT_STREQ(edct_ErrorGetString(0x801E000Cu), "Unknown Error");
  EXPECT_STREQ(edct_ErrorGetString(0), "Success");
  EXPECT_STREQ(edct_ErrorGetString(0x801E0083u),
               " an unexpected nullpointer has been passed to this function.");
  // Delegation by module: arrays, probes, locks and resources read their own tables.
  EXPECT_STREQ(edct_ErrorGetString(0x80010207u), " too small a buffer was passed as an argument ");
  EXPECT_STREQ(edct_ErrorGetString(0x80060105u), "Invalid write pointer");
  EXPECT_STREQ(edct_ErrorGetString(0x80140101u), "Unknown Error");
  EXPECT_STREQ(edct_ErrorGetString(0x80160101u), "Invalid resource handle");
  EXPECT_STREQ(edct_ErrorGetString(0x80220102u), "Unknown Module");
  EXPECT_STREQ(edct_ErrorGetSubModuleName(0), "Success");
  EXPECT_STREQ(edct_ErrorGetSubModuleName(0x801E0004u), "EDCTSPI");
  EXPECT_STREQ(edct_ErrorGetSubModuleName(0x80010207u), " array ");
  EXPECT_STREQ(edct_ErrorGetSubModuleName(0x80060105u), "osspi");
  EXPECT_STREQ(edct_ErrorGetSubModuleName(0x80140183u), "csspi");
  EXPECT_STREQ(edct_ErrorGetSubModuleName(0x80160101u), "rsrc");
  EXPECT_STREQ(edct_ErrorGetSubModuleName(0x80220102u), "Unknown Module");
}

TEST(ResultCodes, VersionQueries) {
  uint32_t version = 0;
  EXPECT_EQ(critsec_GetVersion(&version), 0u);
  EXPECT_EQ(version, 0x01000002u);
  EXPECT_EQ(heap_GetVersion(&version), 0u);
  EXPECT_EQ(version, 0x01000002u);
  EXPECT_EQ(osspi_SpiGetVersion(&version), 0u);
  EXPECT_EQ(version, 0x01010002u);
  EXPECT_EQ(srvspi_SpiGetVersion(&version), 0u);
  EXPECT_EQ(version, 0x01000003u);
  EXPECT_EQ(edct_GetVersion(&version), 0u);
  EXPECT_EQ(version, 0xFFFFFFFFu);
  dbg_GetVersion(&version);
  EXPECT_EQ(version, 0x01010001u);
  EXPECT_EQ(critsec_GetVersion(nullptr), 0x80140183u);
  EXPECT_EQ(heap_GetVersion(nullptr), 0x800B0183u);
  EXPECT_EQ(osspi_SpiGetVersion(nullptr), 0x80060183u);
  EXPECT_EQ(srvspi_SpiGetVersion(nullptr), 0x80010204u);
  EXPECT_EQ(edct_GetVersion(nullptr), 0x801E0083u);
}

}  // namespace
