#pragma once

#include "RawValueEnum.h"

// What a device profile keeps about its files, and what the settings keep as the defaults of
// a new profile: the format tracks are written in and the folders they are laid out in.
enum class OutputFormat { keepSource, mp3, aac };
enum class FolderStructure { artistAlbumTrack, mirrorLibrary, flat };

template <>
struct EnumRawValues<OutputFormat> {
    static constexpr std::array values{std::pair{OutputFormat::keepSource, "keepSource"},
                                       std::pair{OutputFormat::mp3, "mp3"},
                                       std::pair{OutputFormat::aac, "aac"}};
};

template <>
struct EnumRawValues<FolderStructure> {
    static constexpr std::array values{std::pair{FolderStructure::artistAlbumTrack, "artistAlbumTrack"},
                                       std::pair{FolderStructure::mirrorLibrary, "mirrorLibrary"},
                                       std::pair{FolderStructure::flat, "flat"}};
};
