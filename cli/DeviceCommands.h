#pragma once

class CommandLine;

// velmo device volumes | list | add | show | set | remove | diff
void addDeviceCommands(CommandLine& commandLine);
