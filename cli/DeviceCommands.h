#pragma once

class CommandLine;

// velmo device volumes | list | add | show | set | remove | diff | sync
void addDeviceCommands(CommandLine& commandLine);
