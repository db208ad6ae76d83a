#include "VelmoCommands.h"

#include "AccurateRipCommands.h"
#include "CTDBCommands.h"
#include "DeviceCommands.h"
#include "DiscCommands.h"
#include "ImportCommands.h"
#include "LibraryCommands.h"
#include "LoudnessCommands.h"
#include "MetadataCommands.h"
#include "PlaylistCommands.h"
#include "PlaylistEditCommands.h"
#include "PodcastCommands.h"
#include "SettingsCommands.h"
#include "TagCommands.h"
#include "TrackCommands.h"
#include "TranscodeCacheCommands.h"

#include <QCoreApplication>

using namespace Qt::StringLiterals;

CommandLine velmoCommands()
{
    // The core reads the version from the application, for the rip log.
    QCoreApplication::setApplicationVersion(QStringLiteral(SONORELLE_VERSION));
    CommandLine commandLine(u"velmo"_s, u"velmo: the command-line companion of Sonorelle."_s,
                            QStringLiteral(SONORELLE_VERSION));
    addLibraryCommands(commandLine);
    addLoudnessCommands(commandLine);
    addTrackCommands(commandLine);
    addTagCommands(commandLine);
    addImportCommands(commandLine);
    addPlaylistCommands(commandLine);
    addPlaylistEditCommands(commandLine);
    addPodcastCommands(commandLine);
    addDeviceCommands(commandLine);
    addTranscodeCacheCommands(commandLine);
    addMetadataCommands(commandLine);
    addSettingsCommands(commandLine);
    addDiscCommands(commandLine);
    addAccurateRipCommands(commandLine);
    addCTDBCommands(commandLine);
    return commandLine;
}
