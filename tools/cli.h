// Shared pieces of the speechcommon command-line tool. Each subcommand group lives in a file
// of its own and is reached through the table in main.cpp.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "speechcommon.h"

namespace cli {

// Exit statuses of the tool.
inline constexpr int kOk = 0;
inline constexpr int kFailed = 1;  // the operation was refused or an input was bad
inline constexpr int kUsage = 2;   // the command line itself was wrong

// Reads a result code written in hex (0x prefix, or with hex letters) or decimal, including
// a negative 32-bit decimal as signed printing shows it.
std::optional<uint32_t> ParseCode(std::string_view text);

// "0x801E0083" style.
std::string Hex(uint32_t value);

// The message the owning family's getter gives for a code.
const char *FamilyMessage(VQRESULT code);
const char *FamilySubmodule(VQRESULT code);

int CmdError(int argc, char **argv);
int CmdHdr(int argc, char **argv);
int CmdDict(int argc, char **argv);
int CmdBroker(int argc, char **argv);

}  // namespace cli
