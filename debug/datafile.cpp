#include "debug/datafile.h"

#include <cinttypes>
#include <cstdio>
#include <cstring>

#include "debug/line.h"
#include "debug/state.h"
#include "platform/debugout.h"
#include "platform/env.h"
#include "platform/process.h"
#include "platform/textfile.h"

namespace sc::dbg {
namespace {

// A file name is refused when prefix, submodule, function and data name plus 5 reach this.
constexpr size_t kNameLimit = 150;

struct DataFile {
  DBG_DATAFILE_SPEC spec;  // the caller's pointers
  plat::TextFile *file;
  // The name is kept rather than built again at the end, so a file is deleted by the name it
  // was created with even if VQ_OUTPATH changed in between.
  char name[kNameLimit + 1];
};

struct Table {
  DataFile *items;
  uint32_t capacity;
  uint32_t count;
  const char *extension;
  plat::TextFileMode mode;
  bool pathSet;  // the directory variable was set at the latest dbg_Init
};

DataFile g_outputItems[30];
DataFile g_inputItems[20];
Table g_outputs{g_outputItems, 30, 0, "out", plat::TextFileMode::kWrite, false};
Table g_inputs{g_inputItems, 20, 0, "in", plat::TextFileMode::kRead, false};

void WriteDebugOutput(void *, const char *bytes, size_t length) {
  plat::DebugOutput(bytes, length);
}

// Builds prefix + submodule_function_dataName.extension; false when a part is missing or
// the name would be too long.
bool BuildName(const char *prefix, const DBG_DATAFILE_SPEC &spec, const char *extension,
               char (&name)[kNameLimit + 1]) {
  if (!spec.submodule || !spec.function || !spec.dataName) return false;
  const size_t total = std::strlen(prefix) + std::strlen(spec.submodule) +
                       std::strlen(spec.function) + std::strlen(spec.dataName) + 5;
  if (total >= kNameLimit) return false;
  std::snprintf(name, sizeof name, "%s%s_%s_%s.%s", prefix, spec.submodule, spec.function,
                spec.dataName, extension);
  return true;
}

// Says on the debug output channel which file failed, since the status alone cannot.
void ReportUnopened(const char *prefix, const DBG_DATAFILE_SPEC &spec, const char *extension,
                    bool tooLong) {
  LineBuffer line(WriteDebugOutput, nullptr);
  line.Format("dbg_Init: %s debug data file %s%s_%s_%s.%s\n",
              tooLong ? "name too long for" : "cannot open", prefix, Printable(spec.submodule),
              Printable(spec.function), Printable(spec.dataName), extension);
  line.Emit();
}

// Appends as many specs as fit; stops at the first file that cannot be opened, keeping
// those before it.
int Register(Table &table, const char *prefix, uint32_t count, const DBG_DATAFILE_SPEC *specs) {
  if (!prefix || !specs) return DBG_INIT_OK;
  const uint32_t room = table.capacity - table.count;
  if (count > room) count = room;
  for (uint32_t i = 0; i < count; ++i) {
    DataFile &slot = table.items[table.count];
    slot.spec = specs[i];
    if (!BuildName(prefix, slot.spec, table.extension, slot.name)) {
      ReportUnopened(prefix, slot.spec, table.extension, true);
      return DBG_INIT_FILE_FAILED;
    }
    slot.file = plat::TextFileOpen(slot.name, table.mode);
    if (!slot.file) {
      ReportUnopened(prefix, slot.spec, table.extension, false);
      return DBG_INIT_FILE_FAILED;
    }
    ++table.count;
  }
  return DBG_INIT_OK;
}

bool Same(const char *given, const char *registered) {
  return given && std::strcmp(given, registered) == 0;
}

struct Selector {
  const char *module;
  const char *submodule;  // not compared for input files
  const char *function;
  const char *dataName;
};

bool OutputMatches(const DataFile &file, const Selector &s) {
  return Same(s.module, file.spec.module) && Same(s.submodule, file.spec.submodule) &&
         Same(s.function, file.spec.function) && Same(s.dataName, file.spec.dataName);
}

bool InputMatches(const DataFile &file, const Selector &s) {
  return Same(s.module, file.spec.module) && Same(s.function, file.spec.function) &&
         Same(s.dataName, file.spec.dataName);
}

// A line sink that gives every byte to each matching output file, flushed.
void WriteToMatches(void *context, const char *bytes, size_t length) {
  const auto &selector = *static_cast<const Selector *>(context);
  for (uint32_t i = 0; i < g_outputs.count; ++i) {
    if (!OutputMatches(g_outputs.items[i], selector)) continue;
    plat::TextFileWrite(g_outputs.items[i].file, bytes, length);
    plat::TextFileFlush(g_outputs.items[i].file);
  }
}

// Bytes of one element of a type that is written as hex digits or read back; 0 otherwise.
constexpr uint32_t NumericWidth(uint32_t type) {
  switch (type) {
    case DBG_TYPE_I8:
    case DBG_TYPE_U8:
      return 1;
    case DBG_TYPE_I16:
    case DBG_TYPE_U16:
      return 2;
    case DBG_TYPE_I32:
    case DBG_TYPE_U32:
    case DBG_TYPE_HEX32:
      return 4;
    default:
      return 0;
  }
}

constexpr bool SignedType(uint32_t type) {
  return type == DBG_TYPE_I8 || type == DBG_TYPE_I16 || type == DBG_TYPE_I32;
}

uint32_t LoadElement(const unsigned char *at, uint32_t width) {
  uint8_t u8;
  uint16_t u16;
  uint32_t u32;
  switch (width) {
    case 1:
      std::memcpy(&u8, at, 1);
      return u8;
    case 2:
      std::memcpy(&u16, at, 2);
      return u16;
    default:
      std::memcpy(&u32, at, 4);
      return u32;
  }
}

void StoreElement(unsigned char *at, uint32_t width, uint32_t value) {
  const auto u8 = static_cast<uint8_t>(value);
  const auto u16 = static_cast<uint16_t>(value);
  switch (width) {
    case 1:
      std::memcpy(at, &u8, 1);
      break;
    case 2:
      std::memcpy(at, &u16, 2);
      break;
    default:
      std::memcpy(at, &value, 4);
      break;
  }
}

void WriteElements(plat::TextFile *file, const unsigned char *data, uint16_t count, uint32_t type) {
  static constexpr char kNotSupported[] = "Logging of this Data Type not supported\n";
  if (!data) count = 0;
  char text[16];
  if (const uint32_t width = NumericWidth(type)) {
    for (uint32_t i = 0; i < count; ++i) {
      const int length =
          std::snprintf(text, sizeof text, "%0*" PRIx32 "\n", static_cast<int>(width * 2),
                        LoadElement(data + i * width, width));
      plat::TextFileWrite(file, text, static_cast<size_t>(length));
    }
  } else if (type == DBG_TYPE_BOOL) {
    for (uint32_t i = 0; i < count; ++i) {
      text[0] = LoadElement(data + i * 4, 4) ? '1' : '0';
      text[1] = '\n';
      plat::TextFileWrite(file, text, 2);
    }
  } else if (type == DBG_TYPE_CHAR) {
    plat::TextFileWrite(file, reinterpret_cast<const char *>(data), count);
    plat::TextFileWrite(file, "\n", 1);
  } else {
    plat::TextFileWrite(file, kNotSupported, sizeof kNotSupported - 1);
  }
  plat::TextFileFlush(file);
}

[[noreturn]] void InputTooShort() {
  static constexpr char kMessage[] = "End of file reached : input file not long enough";
  plat::StandardOutput(kMessage, sizeof kMessage - 1);
  plat::ExitProcess(-1);
}

int HexDigit(int c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// One value: anything before the first digit is skipped ("-" makes a signed value
// negative), digits are kept to the element's width, the first non-digit after them ends it.
uint32_t ReadValue(plat::TextFile *file, uint32_t width, bool isSigned) {
  const uint32_t mask = width == 4 ? 0xFFFFFFFFu : (1u << (width * 8)) - 1;
  uint32_t value = 0;
  bool negative = false;
  bool anyDigit = false;
  for (;;) {
    const int c = plat::TextFileReadChar(file);
    if (c == plat::kTextFileEnd) InputTooShort();
    const int digit = HexDigit(c);
    if (digit < 0) {
      if (anyDigit) break;
      if (isSigned && c == '-') negative = true;
      continue;
    }
    anyDigit = true;
    value = ((value << 4) | static_cast<uint32_t>(digit)) & mask;
  }
  return negative ? 0u - value : value;  // stored to the width by the caller
}

}  // namespace

int RegisterDataFiles(uint32_t inputCount, const DBG_DATAFILE_SPEC *inputSpecs,
                      uint32_t outputCount, const DBG_DATAFILE_SPEC *outputSpecs) {
  const char *inPath = plat::EnvironmentValue("VQ_INPATH");
  const char *outPath = plat::EnvironmentValue("VQ_OUTPATH");
  g_inputs.pathSet = inPath != nullptr;
  g_outputs.pathSet = outPath != nullptr;
  const int status = Register(g_outputs, outPath, outputCount, outputSpecs);
  if (status != DBG_INIT_OK) return status;
  return Register(g_inputs, inPath, inputCount, inputSpecs);
}

void CloseDataFiles() {
  static constexpr char kBanner[] =
      "-------------------------------------------------------------------------\n"
      "DBGSPI : LOGGING ENDED NORMALLY\n"
      "-------------------------------------------------------------------------\n";
  for (uint32_t i = 0; i < g_outputs.count; ++i) {
    DataFile &out = g_outputs.items[i];
    if (plat::TextFilePosition(out.file) == 0) {
      plat::TextFileClose(out.file);
      plat::FileDelete(out.name);
    } else {
      plat::TextFileWrite(out.file, kBanner, sizeof kBanner - 1);
      plat::TextFileClose(out.file);
    }
  }
  for (uint32_t i = 0; i < g_inputs.count; ++i)
    plat::TextFileClose(g_inputs.items[i].file);
  g_outputs.count = 0;
  g_inputs.count = 0;
}

}  // namespace sc::dbg

using namespace sc::dbg;

extern "C" {

SC_API uint32_t dbg_Output(const char *module, const char *submodule, uintptr_t,
                           const char *function, const char *dataName, const void *data,
                           uint16_t count, uint32_t type) {
  if (!Initialised() || !g_outputs.pathSet) return 0;
  const Selector selector{module, submodule, function, dataName};
  for (uint32_t i = 0; i < g_outputs.count; ++i)
    if (OutputMatches(g_outputs.items[i], selector))
      WriteElements(g_outputs.items[i].file, static_cast<const unsigned char *>(data), count, type);
  return 0;
}

SC_API void dbg_OutputArg(const char *module, const char *submodule, uintptr_t instance,
                          const char *function, const char *dataName, const char *format, ...) {
  if (!Initialised() || !g_outputs.pathSet) return;
  Selector selector{module, submodule, function, dataName};
  bool any = false;
  for (uint32_t i = 0; i < g_outputs.count && !any; ++i)
    any = OutputMatches(g_outputs.items[i], selector);
  if (!any) return;
  LineBuffer line(WriteToMatches, &selector);
  line.Format("%10s i:%10" PRIxPTR " f:%s ", submodule, instance, function);
  va_list args;
  va_start(args, format);
  line.FormatV(Printable(format), args);
  va_end(args);
  line.Append("\n", 1);
  line.Emit();
}

SC_API uint32_t dbg_Input(const char *module, const char *, uintptr_t, const char *function,
                          const char *dataName, void *buffer, uint16_t count, uint32_t type) {
  if (!Initialised() || !g_inputs.pathSet || !buffer) return 0;
  const uint32_t width = NumericWidth(type);
  if (width == 0 || type == DBG_TYPE_HEX32) return 0;
  const Selector selector{module, nullptr, function, dataName};
  auto *out = static_cast<unsigned char *>(buffer);
  for (uint32_t i = 0; i < g_inputs.count; ++i) {
    if (!InputMatches(g_inputs.items[i], selector)) continue;
    for (uint32_t k = 0; k < count; ++k)
      StoreElement(out + k * width, width,
                   ReadValue(g_inputs.items[i].file, width, SignedType(type)));
  }
  return 0;
}

}  // extern "C"
