#pragma once

// For tests only: the directories in which packages are looked for.

struct UciDirectories {
    const char* config;
    const char* factory;
};

/// Where the stores are; read whenever a UciFile is made.
extern UciDirectories uci_directories;

/// Uses other directories from now on and forgets every package that is loaded for vsuci and every
/// hold. The texts, of at most 180 characters, must stay.
void vsuci_use_directories(UciDirectories directories);
