// orvpack inspecionar / desempacotar: support tools for published .orvz and .orvb files.
#pragma once

#include <filesystem>
#include <string>

namespace orv {

// A human-readable description of an ORVZ or ORVB file (header, chunks or blocks, ratio).
[[nodiscard]] bool DescribePackedFile(const std::filesystem::path& path, std::string& text, std::string& error);
// Decodes an ORVZ or ORVB file (told apart by its magic) into `output`, which is only replaced once
// the whole file decoded.
[[nodiscard]] bool UnpackFile(const std::filesystem::path& path, const std::filesystem::path& output,
                              std::string& error);

}  // namespace orv
