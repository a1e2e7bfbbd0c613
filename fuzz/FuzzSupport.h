#pragma once

#include <QByteArray>
#include <QList>

#include <cstddef>
#include <cstdint>

// What every harness shares. The harness files define LLVMFuzzerTestOneInput; FuzzSupport.cpp
// defines LLVMFuzzerInitialize, which keeps the log and the console quiet (a harness runs
// millions of times) and points the machine at a folder that does not exist, so nothing a
// parser touches can reach the real disk.

// Stops the harness with a message when a property that must hold does not; libFuzzer keeps
// the input that did it.
void fuzzCheck(bool holds, const char* what);

// The input cut into pieces at each "\n%%\n" line: several tool answers in one input.
QList<QByteArray> fuzzPieces(const std::uint8_t* data, std::size_t size);

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
