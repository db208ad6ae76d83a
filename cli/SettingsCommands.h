#pragma once

class CommandLine;

// velmo settings list, get, set
void addSettingsCommands(CommandLine& commandLine);
