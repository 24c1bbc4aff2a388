// The small types that cross module boundaries between the UI thread and the workers: the cancel
// flag and the two callables. Kept apart from EngineState so readers, decoders and transfers need
// not see the whole run context.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>

namespace orv {

// A byte the UI thread sets and every transfer, hash, decode loop and back-off sleep polls; non-zero means stop.
using CancelFlag = std::atomic<std::uint8_t>;

// True when `flag` is given and set.
inline bool IsSet(const CancelFlag* flag) { return flag != nullptr && flag->load(std::memory_order_relaxed) != 0; }

// Bytes just transferred or hashed (not a running total). An empty callable is skipped.
using ProgressCallback = std::function<void(std::uint64_t)>;

// Hands one UTF-8 JSON text to the page; safe to call from any thread.
using PageSink = std::function<void(const std::string&)>;

}  // namespace orv
