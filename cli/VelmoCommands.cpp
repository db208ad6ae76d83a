#include "VelmoCommands.h"

#include "LibraryCommands.h"
#include "PodcastCommands.h"

using namespace Qt::StringLiterals;

CommandLine velmoCommands()
{
    CommandLine commandLine(u"velmo"_s, u"velmo: the command-line companion of Sonorelle."_s);
    addLibraryCommands(commandLine);
    addPodcastCommands(commandLine);
    return commandLine;
}
