#pragma once

class CommandLine;

// velmo library init | stats | check
void addLibraryCommands(CommandLine& commandLine);
