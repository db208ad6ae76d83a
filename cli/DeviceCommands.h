#pragma once

class CommandLine;

// velmo device volumes | list | add | show | set | remove | diff | sync | eject
void addDeviceCommands(CommandLine& commandLine);
