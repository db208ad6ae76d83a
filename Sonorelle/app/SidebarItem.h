#pragma once

#include <QString>

// The selection of the first column. A "CD Rip" row stands for one inserted disc, named by
// its kernel device name, or an opened disc image, named by the absolute path of its sheet.
struct SidebarItem {
    enum class Kind { music, playlists, podcasts, devices, library, cdRip };

    Kind kind = Kind::music;
    QString bsdName; // only for cdRip: `sr0`, or a CUE sheet's path

    static SidebarItem cdRip(const QString& bsdName) { return {Kind::cdRip, bsdName}; }

    bool operator==(const SidebarItem&) const = default;
};
