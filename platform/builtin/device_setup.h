// Making a device: its store and, below a device root, the folders and tools it needs.
#pragma once

// Makes the store with the factory configuration, or keeps the one there is. Below a device root it also
// makes the folders, and harmless `date` and `reboot`. With `demo` a simulated device is added: its files,
// which never replace existing ones, and in a new store its settings. Null, or why it failed.
const char *set_up_device(bool demo);
