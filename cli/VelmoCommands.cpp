#include "VelmoCommands.h"

#include "LibraryCommands.h"
#include "MetadataCommands.h"
#include "PlaylistCommands.h"
#include "PodcastCommands.h"

using namespace Qt::StringLiterals;

CommandLine velmoCommands()
{
    CommandLine commandLine(u"velmo"_s, u"velmo: the command-line companion of Sonorelle."_s);
    addLibraryCommands(commandLine);
    addPlaylistCommands(commandLine);
    addPodcastCommands(commandLine);
    addMetadataCommands(commandLine);
    return commandLine;
}
