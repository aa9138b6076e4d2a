// Texts of the general reasons, the module names and the foundation families' own reasons.
#include <iterator>

#include "foundation/error_text.h"
#include "foundation/result.h"
#include "sc_critsec.h"
#include "sc_heap.h"
#include "sc_osspi.h"
#include "sc_rsrc.h"
#include "sc_safeh.h"
#include "sc_srvspi.h"
#include "sc_vq.h"

namespace sc {
namespace {

constexpr TextRow kGeneralFailures[] = {
    {0, " unexpected event inside algorithm."},
    {1, " functionality not yet implemented."},
    {2, " an invalid argument has been passed to this function."},
    {3, " an unexpected nullpointer has been passed to this function."},
    {4, " at least one parameter is out of range."},
    {5, " the buffer presented to this function is too small."},
    {6, " allocation problem (out of memory?)."},
    {7, " object busy."},
    {8, " object not present."},
    {9, " invalid handle passed to this function"},
    {10, " object is read-only->probably in use"},
    {11, " error opening file"},
    {12, " error closing file"},
    {13, " error reading from file"},
    {14, " error writing to file"},
    {15, " error seeking in file"},
    {16, " object is in a wrong state"},
};

constexpr TextRow kGeneralSuccesses[] = {
    {1, " false succes"},
    {2, " object already present"},
};

// Every module of the wider toolkit; this library's families carry their own names.
constexpr TextRow kModuleNames[] = {
    {0, "Unknown Module"}, {1, "SRVSPI"},      {2, "ASRENGINE"},  {3, "TTSENGINE"},
    {4, "FXENGINE"},       {5, "AUDIOIN"},     {6, "OSSPI"},      {7, "AUDIOOUT"},
    {8, "WAVEFILE"},       {9, "DBGSPI"},      {10, "REGISTRY"},  {11, "HEAP"},
    {12, "THREADSPI"},     {13, "TIMERSPI"},   {14, "FILESPI"},   {15, "LEXICON"},
    {16, "G2P"},           {17, "PROSODY"},    {18, "TEXTNORM"},  {19, "UNITSEL"},
    {20, "CRITSEC"},       {21, "BROKER"},     {22, "RSRC"},      {23, "SAFEH"},
    {24, "FRONTEND"},      {25, "FEATEXT"},    {26, "ACMODEL"},   {27, "LANGMODEL"},
    {28, "GRAMMAR"},       {29, "DECODER"},    {30, "EDCTSPI"},   {31, "NBEST"},
    {32, "CONFIDENCE"},    {33, "ENDPOINTER"}, {34, "HDRPARS"},   {35, "NOISEREDUCT"},
    {36, "ECHOCANCEL"},    {37, "AGC"},        {38, "VAD"},       {39, "PITCH"},
    {40, "SIGPROC"},       {41, "VOCODER"},    {42, "WAVEGEN"},   {43, "SSML"},
    {44, "TAGPARSER"},     {45, "PHONEMAP"},   {46, "SYLLABIFY"}, {47, "STRESS"},
    {48, "POSTAGGER"},     {49, "PHRASING"},   {50, "DURATION"},  {51, "INTONATION"},
    {52, "SPELLER"},       {53, "ADAPTATION"}, {54, "SPEAKERID"}, {55, "ENROLL"},
    {56, "VERIFY"},        {57, "DIALOG"},     {58, "PROMPTS"},   {59, "TELEPHONY"},
    {60, "CODEC"},         {61, "RESAMPLE"},   {62, "LOGGER"},    {63, "LICENSE"},
    {64, "CONFIG"},        {65, "SCHEDULER"},  {66, "IPC"},       {67, "NETSPI"},
    {68, "STREAMSPI"},     {70, "TOOLS"},      {69, "COMPILER"},  {71, "TESTHARNESS"},
};
static_assert(std::size(kModuleNames) == 72);

constexpr TextRow kOsspiReasons[] = {
    {4, "Invalid read pointer"},
    {5, "Invalid write pointer"},
    {6, "Invalid string pointer"},
};

constexpr TextRow kRsrcReasons[] = {
    {1, "Invalid resource handle"},
};

constexpr TextRow kSrvspiReasons[] = {
    {1, "something was not found"},
    {2, " internal program problem"},
    {3, " feature not yet implementedd "},
    {4, " argument is wrong "},
    {5, " no more memory "},
    {6, " parameter is out of range "},
    {7, " too small a buffer was passed as an argument "},
    {8, " simultaneous multiple thread access not allowed "},
    {9, " wrong state"},
    {10, " error opening a critical section"},
};

constexpr TextRow kCritsecSubmodules[] = {{1, "csspi"}};
constexpr TextRow kHeapSubmodules[] = {{1, "heap"}};
constexpr TextRow kOsspiSubmodules[] = {{1, "osspi"}};
constexpr TextRow kRsrcSubmodules[] = {{1, "rsrc"}};
constexpr TextRow kSafehSubmodules[] = {{1, "Safe Handle"}};
constexpr TextRow kSrvspiSubmodules[] = {{1, " secure"}, {2, " array "}};

constexpr SubModuleTexts kCritsecTexts{20, kCritsecSubmodules, "Wrong module", "unknown submodule"};
constexpr SubModuleTexts kHeapTexts{11, kHeapSubmodules, "Wrong Module", "Unknown SubModule"};
constexpr SubModuleTexts kOsspiTexts{6, kOsspiSubmodules, "Wrong module", "unknown submodule"};
constexpr SubModuleTexts kRsrcTexts{22, kRsrcSubmodules, "Wrong module", "unknown submodule"};
constexpr SubModuleTexts kSafehTexts{23, kSafehSubmodules, "Wrong module", "unknown submodule"};
constexpr SubModuleTexts kSrvspiTexts{1, kSrvspiSubmodules, " wrong module", " unknown module "};

}  // namespace

const char *FindText(std::span<const TextRow> table, uint32_t key, const char *fallback) {
  for (const TextRow &row : table)
    if (row.key == key) return row.text;
  return fallback;
}

const char *FamilyErrorString(VQRESULT code, std::span<const TextRow> own, const char *fallback) {
  if (!Failed(code)) return "Success";
  if (IsGeneral(code)) return vq_ErrorGetString(code);
  return FindText(own, ReasonOf(code), fallback);
}

const char *FamilySubModuleName(VQRESULT code, const SubModuleTexts &texts) {
  if ((code & 0x7FFF0000u) != (texts.module << 16)) return texts.wrongModule;
  for (const TextRow &row : texts.names)
    if ((code & 0xFF00u) == (row.key << 8)) return row.text;
  return texts.unknownSubmodule;
}

}  // namespace sc

using sc::FamilyErrorString;
using sc::FamilySubModuleName;

extern "C" {

SC_API const char *vq_ErrorGetString(VQRESULT code) {
  if (code == 0) return "Succes.";
  if (!sc::IsGeneral(code)) return "Unknown error. This Error is not a general error.";
  if (sc::Failed(code))
    return sc::FindText(sc::kGeneralFailures, sc::ReasonOf(code), "Unknown general error ");
  return sc::FindText(sc::kGeneralSuccesses, sc::ReasonOf(code), "Unknown general succes ");
}

SC_API const char *vq_ErrorGetModuleName(VQRESULT code) {
  return sc::FindText(sc::kModuleNames, sc::ModuleOf(code), "Unknown Module");
}

// Every family's module-name getter is the same reading.
SC_API const char *critsec_ErrorGetModuleName(VQRESULT code) {
  return vq_ErrorGetModuleName(code);
}
SC_API const char *heap_ErrorGetModuleName(VQRESULT code) {
  return vq_ErrorGetModuleName(code);
}
SC_API const char *osspi_ErrorGetModuleName(VQRESULT code) {
  return vq_ErrorGetModuleName(code);
}
SC_API const char *rsrc_ErrorGetModuleName(VQRESULT code) {
  return vq_ErrorGetModuleName(code);
}
SC_API const char *safeh_ErrorGetModuleName(VQRESULT code) {
  return vq_ErrorGetModuleName(code);
}
SC_API const char *srvspi_ErrorGetModuleName(VQRESULT code) {
  return vq_ErrorGetModuleName(code);
}

// critsec_, heap_ and safeh_ have no reasons of their own.
SC_API const char *critsec_ErrorGetString(VQRESULT code) {
  return FamilyErrorString(code, {}, "Unknown Error");
}
SC_API const char *heap_ErrorGetString(VQRESULT code) {
  return FamilyErrorString(code, {}, "Unknown error");
}
SC_API const char *safeh_ErrorGetString(VQRESULT code) {
  return FamilyErrorString(code, {}, "Unknown Error");
}
SC_API const char *osspi_ErrorGetString(VQRESULT code) {
  return FamilyErrorString(code, sc::kOsspiReasons, "Unknown Error");
}
SC_API const char *rsrc_ErrorGetString(VQRESULT code) {
  return FamilyErrorString(code, sc::kRsrcReasons, "Unknown Error");
}

SC_API const char *srvspi_ErrorGetString(VQRESULT code) {
  if (code == 0) return "Success";
  if (sc::IsGeneral(code)) return vq_ErrorGetString(code);
  if (!sc::Failed(code)) return "Unknown error";
  return sc::FindText(sc::kSrvspiReasons, sc::ReasonOf(code), "Unknown error");
}

SC_API const char *critsec_ErrorGetSubModuleName(VQRESULT code) {
  return FamilySubModuleName(code, sc::kCritsecTexts);
}
SC_API const char *heap_ErrorGetSubModuleName(VQRESULT code) {
  return FamilySubModuleName(code, sc::kHeapTexts);
}
SC_API const char *osspi_ErrorGetSubModuleName(VQRESULT code) {
  return FamilySubModuleName(code, sc::kOsspiTexts);
}
SC_API const char *rsrc_ErrorGetSubModuleName(VQRESULT code) {
  return FamilySubModuleName(code, sc::kRsrcTexts);
}
SC_API const char *safeh_ErrorGetSubModuleName(VQRESULT code) {
  return FamilySubModuleName(code, sc::kSafehTexts);
}
SC_API const char *srvspi_ErrorGetSubModuleName(VQRESULT code) {
  return FamilySubModuleName(code, sc::kSrvspiTexts);
}

}  // extern "C"
