#pragma once

class CommandLine;

// velmo device volumes | list | add | show | set | remove | diff | eject
void addDeviceCommands(CommandLine& commandLine);
