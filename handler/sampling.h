// Load of the device.
#pragma once

// Share of busy time over half a second (blocks that long), from two samples of /proc/stat: 0.0 to 1.0, or
// −1.0 when the file cannot be read (without the pause). Two equal samples are 0 % busy.
double sample_cpu_busy_ratio();

// Share of memory in use, from sysinfo(2): 0.0 to 1.0, or −1.0 when it fails.
double sample_mem_used_ratio();
