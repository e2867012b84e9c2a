// Committing queued items: the save and apply objects, and the worker threads beside the request thread.
#pragma once

// The store lock id that a handler holds at this moment, 0 when none. A rebuild releases it.
extern int access_lock;

// Starts the thread that restarts the device after a second, so that the answer is out before it goes down;
// with the factory configuration restored first, or not. False when it cannot be started.
enum class Restart { AS_IT_IS, WITH_FACTORY_SETTINGS };
bool start_reboot_worker(Restart restart);
