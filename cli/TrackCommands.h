#pragma once

class CommandLine;

// velmo track list, show, edit, artwork, remove
void addTrackCommands(CommandLine& commandLine);
