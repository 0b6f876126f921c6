#include "ProcessSample.h"

#include <dirent.h>
#include <fcntl.h>
#include <time.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace loadgen {

namespace {

bool readFile(const std::string& path, std::string& out) {
    out.clear();
    int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return false;
    char buffer[8192];
    for (ssize_t n; (n = read(fd, buffer, sizeof buffer)) > 0;)
        out.append(buffer, size_t(n));
    close(fd);
    return true;
}

double fieldOf(const std::string& text, const char* key) {
    size_t at = text.find(key);
    return at == std::string::npos ? 0 : strtod(text.c_str() + at + strlen(key), nullptr);
}

long countDir(const std::string& path) {
    DIR* dir = opendir(path.c_str());
    if (!dir)
        return 0;
    long n = 0;
    while (dirent* entry = readdir(dir))
        n += entry->d_name[0] != '.';
    closedir(dir);
    return n;
}

} // namespace

void addProcess(pid_t pid, ProcessSample& sum) {
    clockid_t id;
    if (clock_getcpuclockid(pid, &id) == 0) {
        timespec t{};
        if (clock_gettime(id, &t) == 0)
            sum.cpuUs += double(t.tv_sec) * 1e6 + double(t.tv_nsec) / 1e3;
    }
    std::string base = "/proc/" + std::to_string(pid), text;
    if (readFile(base + "/stat", text)) {
        size_t at = text.rfind(')');
        unsigned long user = 0, system = 0;
        if (at != std::string::npos &&
            sscanf(text.c_str() + at + 2, "%*c %*d %*d %*d %*d %*d %*u %*u %*u %*u %*u %lu %lu",
                   &user, &system) == 2) {
            double tick = 1e6 / double(sysconf(_SC_CLK_TCK));
            sum.userUs += double(user) * tick;
            sum.systemUs += double(system) * tick;
        }
    }
    if (readFile(base + "/status", text)) {
        sum.rssKb += fieldOf(text, "VmRSS:");
        sum.peakKb += fieldOf(text, "VmHWM:");
        sum.threads += long(fieldOf(text, "Threads:"));
    }
    if (DIR* dir = opendir((base + "/task").c_str())) {
        while (dirent* entry = readdir(dir)) {
            if (entry->d_name[0] == '.')
                continue;
            if (readFile(base + "/task/" + entry->d_name + "/status", text)) {
                sum.voluntary += long(fieldOf(text, "\nvoluntary_ctxt_switches:"));
                sum.involuntary += long(fieldOf(text, "\nnonvoluntary_ctxt_switches:"));
            }
        }
        closedir(dir);
    }
    sum.fds += countDir(base + "/fd");
}

MachineSample machineNow() {
    MachineSample s;
    std::string text;
    if (!readFile("/proc/stat", text))
        return s;
    double v[8] = {};
    sscanf(text.c_str(), "cpu %lf %lf %lf %lf %lf %lf %lf %lf", &v[0], &v[1], &v[2], &v[3], &v[4],
           &v[5], &v[6], &v[7]);
    s.idle = v[3] + v[4];
    s.steal = v[7];
    s.busy = v[0] + v[1] + v[2] + v[5] + v[6];
    return s;
}

} // namespace loadgen
