#include "VelmoCommands.h"

#include "DeviceCommands.h"
#include "ImportCommands.h"
#include "LibraryCommands.h"
#include "MetadataCommands.h"
#include "PlaylistCommands.h"
#include "PodcastCommands.h"
#include "TagCommands.h"

using namespace Qt::StringLiterals;

CommandLine velmoCommands()
{
    CommandLine commandLine(u"velmo"_s, u"velmo: the command-line companion of Sonorelle."_s);
    addLibraryCommands(commandLine);
    addTagCommands(commandLine);
    addImportCommands(commandLine);
    addPlaylistCommands(commandLine);
    addPodcastCommands(commandLine);
    addDeviceCommands(commandLine);
    addMetadataCommands(commandLine);
    return commandLine;
}
