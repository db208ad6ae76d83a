#pragma once

class CommandLine;

// velmo playlist list | show | export
void addPlaylistCommands(CommandLine& commandLine);
