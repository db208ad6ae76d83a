#pragma once

class CommandLine;

// velmo podcast add | list | refresh | episodes | download | search, and velmo feed parse
void addPodcastCommands(CommandLine& commandLine);
