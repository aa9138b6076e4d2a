// Texts of the general reasons, the module names and the foundation families' own reasons; the
// reasons and their texts come from the code tables beside this file.
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
#define SC_GENERAL_FAILURE(reason, name, text) {reason, text},
#define SC_GENERAL_SUCCESS(reason, name, text)
#include "foundation/general_codes.def"
#undef SC_GENERAL_FAILURE
#undef SC_GENERAL_SUCCESS
};

constexpr TextRow kGeneralSuccesses[] = {
#define SC_GENERAL_FAILURE(reason, name, text)
#define SC_GENERAL_SUCCESS(reason, name, text) {reason, text},
#include "foundation/general_codes.def"
#undef SC_GENERAL_FAILURE
#undef SC_GENERAL_SUCCESS
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

constexpr CodeRow kCritsecCodes[] = {
#include "foundation/critsec_codes.def"
};
constexpr CodeRow kHeapCodes[] = {
#include "foundation/heap_codes.def"
};
constexpr CodeRow kOsspiCodes[] = {
#include "foundation/osspi_codes.def"
};
constexpr CodeRow kRsrcCodes[] = {
#include "foundation/rsrc_codes.def"
};
constexpr CodeRow kSafehCodes[] = {
#include "foundation/safeh_codes.def"
};
constexpr CodeRow kSrvspiCodes[] = {
#include "foundation/srvspi_codes.def"
};
static_assert(table::ReasonsUnique(kCritsecCodes) && table::ReasonsUnique(kHeapCodes) &&
              table::ReasonsUnique(kOsspiCodes) && table::ReasonsUnique(kRsrcCodes) &&
              table::ReasonsUnique(kSafehCodes) && table::ReasonsUnique(kSrvspiCodes));

constexpr TextRow kCritsecSubmodules[] = {{1, "csspi"}};
constexpr TextRow kHeapSubmodules[] = {{1, "heap"}};
constexpr TextRow kOsspiSubmodules[] = {{1, "osspi"}};
constexpr TextRow kRsrcSubmodules[] = {{1, "rsrc"}};
constexpr TextRow kSafehSubmodules[] = {{1, "Safe Handle"}};
constexpr TextRow kSrvspiSubmodules[] = {{1, " secure"}, {2, " array "}};

constexpr SubModuleTexts kCritsecTexts{VQ_MODULE_CRITSEC, kCritsecSubmodules, "Wrong module",
                                       "unknown submodule"};
constexpr SubModuleTexts kHeapTexts{VQ_MODULE_HEAP, kHeapSubmodules, "Wrong Module",
                                    "Unknown SubModule"};
constexpr SubModuleTexts kOsspiTexts{VQ_MODULE_OSSPI, kOsspiSubmodules, "Wrong module",
                                     "unknown submodule"};
constexpr SubModuleTexts kRsrcTexts{VQ_MODULE_RSRC, kRsrcSubmodules, "Wrong module",
                                    "unknown submodule"};
constexpr SubModuleTexts kSafehTexts{VQ_MODULE_SAFEH, kSafehSubmodules, "Wrong module",
                                     "unknown submodule"};
constexpr SubModuleTexts kSrvspiTexts{VQ_MODULE_SRVSPI, kSrvspiSubmodules, " wrong module",
                                      " unknown module "};

}  // namespace

const char *FindText(std::span<const TextRow> table, uint32_t key, const char *fallback) {
  for (const TextRow &row : table)
    if (row.key == key) return row.text;
  return fallback;
}

const char *FindReasonText(std::span<const CodeRow> table, VQRESULT code, const char *fallback) {
  for (const CodeRow &row : table)
    if (row.text && ReasonOf(row.code) == ReasonOf(code)) return row.text;
  return fallback;
}

const char *FamilyErrorString(VQRESULT code, std::span<const CodeRow> own, const char *fallback) {
  if (!Failed(code)) return "Success";
  if (IsGeneral(code)) return vq_ErrorGetString(code);
  return FindReasonText(own, code, fallback);
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

// critsec_, heap_ and safeh_ have no reasons of their own: every failure of theirs without the
// general flag gets the fallback.
SC_API const char *critsec_ErrorGetString(VQRESULT code) {
  return FamilyErrorString(code, sc::kCritsecCodes, "Unknown Error");
}
SC_API const char *heap_ErrorGetString(VQRESULT code) {
  return FamilyErrorString(code, sc::kHeapCodes, "Unknown error");
}
SC_API const char *safeh_ErrorGetString(VQRESULT code) {
  return FamilyErrorString(code, sc::kSafehCodes, "Unknown Error");
}
SC_API const char *osspi_ErrorGetString(VQRESULT code) {
  return FamilyErrorString(code, sc::kOsspiCodes, "Unknown Error");
}
SC_API const char *rsrc_ErrorGetString(VQRESULT code) {
  return FamilyErrorString(code, sc::kRsrcCodes, "Unknown Error");
}

SC_API const char *srvspi_ErrorGetString(VQRESULT code) {
  if (code == 0) return "Success";
  if (sc::IsGeneral(code)) return vq_ErrorGetString(code);
  if (!sc::Failed(code)) return "Unknown error";
  return sc::FindReasonText(sc::kSrvspiCodes, code, "Unknown error");
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
