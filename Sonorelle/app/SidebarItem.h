#pragma once

#include <QString>

// The selection of the first column. A "CD Rip" row stands for one inserted disc, named by
// its kernel device name.
struct SidebarItem {
    enum class Kind { music, playlists, podcasts, devices, library, cdRip };

    Kind kind = Kind::music;
    QString bsdName; // only for cdRip

    static SidebarItem cdRip(const QString& bsdName) { return {Kind::cdRip, bsdName}; }

    bool operator==(const SidebarItem&) const = default;
};
