#pragma once

class CommandLine;

// velmo playlist create, rename, delete, add, remove, move; velmo smart create, edit, delete
void addPlaylistEditCommands(CommandLine& commandLine);
