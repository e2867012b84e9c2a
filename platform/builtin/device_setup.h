// Making a device: its store and, below a device root, the folders and tools it needs.
#pragma once

#include <string>

// Makes the store with the factory configuration, or keeps the one there is. Below a device root it also
// makes the folders, and harmless `date` and `reboot`. With `demo` a simulated device is added: its files,
// which never replace existing ones, and in a new store its settings. Killed at any moment, the next one
// completes it. Empty, or why it failed.
std::string set_up_device(bool demo);
