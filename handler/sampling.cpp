#include "handler/sampling.h"

#include <sys/sysinfo.h>

#include <chrono>
#include <cstdio>
#include <string>
#include <thread>

#include "platform/device.h"

struct CpuSample {
    unsigned long long idle = 0;
    unsigned long long total = 0;
};

// The aggregate line of /proc/stat: "cpu  " and user, nice, system, idle, iowait, irq, softirq in ticks
// (proc(5)).
static CpuSample take_sample() {
    CpuSample sample;
    std::string text;
    if (!read_device_file("/proc/stat", 1U << 20, &text)) return sample;
    size_t begin = text.starts_with("cpu ") ? 0 : text.find("\ncpu ");
    if (begin == std::string::npos) return sample;
    if (begin > 0) begin++;
    if (text.size() < begin + 5) return sample;
    unsigned long long t[7] = {};
    sscanf(text.c_str() + begin + 5, "%llu %llu %llu %llu %llu %llu %llu", &t[0], &t[1], &t[2], &t[3], &t[4],
           &t[5], &t[6]);
    sample.idle = t[3];
    for (const unsigned long long ticks : t) sample.total += ticks;
    return sample;
}

double sample_cpu_busy_ratio() {
    const CpuSample first = take_sample();
    if (first.total == 0) return -1.0;
    std::this_thread::sleep_for(std::chrono::milliseconds(500));  // a signal does not shorten it
    const CpuSample second = take_sample();
    if (second.total == first.total) return 0.0;
    return 1.0 -
           static_cast<double>(second.idle - first.idle) / static_cast<double>(second.total - first.total);
}

double sample_mem_used_ratio() {
    struct sysinfo info;
    if (sysinfo(&info) != 0 || info.totalram == 0) return -1.0;
    return static_cast<double>(info.totalram - info.freeram) / static_cast<double>(info.totalram);
}
