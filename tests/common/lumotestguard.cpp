// lumo_testguard PROGRAM [ARGS...]: runs one test as its child, and ends with it
// every process the test started. A child subreaper, it adopts what the test
// started detached (the library's launcher double-forks) and what a crashed
// test leaves orphaned, so all of it stays in the process tree CTest kills on a
// timeout. Whatever is still running when the test ends is given a moment to
// finish, then stopped, named on stderr and counted as a failure. When CTest
// itself goes away (killed or interrupted), the parent-death signal stops the
// test and everything below it.
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dirent.h>
#include <map>
#include <signal.h>
#include <string>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

// Every process below this one, read from /proc.
std::vector<pid_t> descendants()
{
    std::multimap<pid_t, pid_t> children;
    if (DIR *proc = ::opendir("/proc")) {
        while (const dirent *e = ::readdir(proc)) {
            const pid_t pid = pid_t(std::atoi(e->d_name));
            char path[64], stat[512] = {};
            std::snprintf(path, sizeof path, "/proc/%d/stat", int(pid));
            FILE *f = pid > 0 ? std::fopen(path, "r") : nullptr;
            if (!f)
                continue;
            const size_t n = std::fread(stat, 1, sizeof stat - 1, f);
            std::fclose(f);
            stat[n] = 0;
            // "pid (comm) state ppid ...": comm may hold blanks and parentheses.
            const char *end = std::strrchr(stat, ')');
            char state = 0;
            int ppid = 0;
            if (end && std::sscanf(end + 1, " %c %d", &state, &ppid) == 2 && state != 'Z')
                children.emplace(pid_t(ppid), pid);
        }
        ::closedir(proc);
    }
    std::vector<pid_t> out;
    std::vector<pid_t> todo {::getpid()};
    while (!todo.empty()) {
        const pid_t parent = todo.back();
        todo.pop_back();
        for (auto [it, last] = children.equal_range(parent); it != last; ++it) {
            out.push_back(it->second);
            todo.push_back(it->second);
        }
    }
    return out;
}

std::string describe(pid_t pid)
{
    char path[64], comm[64] = {};
    std::snprintf(path, sizeof path, "/proc/%d/comm", int(pid));
    if (FILE *f = std::fopen(path, "r")) {
        if (!std::fgets(comm, sizeof comm, f))
            comm[0] = 0;
        std::fclose(f);
    }
    comm[std::strcspn(comm, "\n")] = 0;
    return std::to_string(pid) + " (" + comm + ")";
}

long long nowMs()
{
    timespec t {};
    ::clock_gettime(CLOCK_MONOTONIC, &t);
    return t.tv_sec * 1000LL + t.tv_nsec / 1000000;
}

} // namespace

int main(int argc, char *argv[])
{
    if (argc < 2) {
        std::fprintf(stderr, "usage: lumo_testguard PROGRAM [ARGS...]\n");
        return 2;
    }
    ::prctl(PR_SET_CHILD_SUBREAPER, 1);
    sigset_t watched, old;
    sigemptyset(&watched);
    for (int s : {SIGCHLD, SIGTERM, SIGINT, SIGHUP, SIGQUIT})
        sigaddset(&watched, s);
    ::sigprocmask(SIG_BLOCK, &watched, &old);
    const pid_t ctest = ::getppid();
    ::prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (::getppid() != ctest)
        ::kill(::getpid(), SIGTERM); // gone already: taken below like any other
    const pid_t test = ::fork();
    if (test == 0) {
        ::sigprocmask(SIG_SETMASK, &old, nullptr);
        ::execvp(argv[1], argv + 1);
        std::fprintf(stderr, "lumo_testguard: %s: %s\n", argv[1], std::strerror(errno));
        ::_exit(127);
    }
    if (test < 0)
        return 127;

    // After the test, what it left gets a moment (its own may be ending), then
    // SIGTERM, then SIGKILL.
    const int scale = std::max(1, std::atoi(std::getenv("LUMO_TEST_TIME_SCALE") ?: "1"));
    enum { Running, Waiting, Terminated, Killed } phase = Running;
    int testStatus = 0;
    bool interrupted = false;
    std::vector<std::string> stopped;
    long long next = 0;
    for (;;) {
        int st = 0;
        for (pid_t pid; (pid = ::waitpid(-1, &st, WNOHANG)) > 0;) {
            if (pid == test) {
                testStatus = st;
                if (phase == Running) {
                    phase = Waiting;
                    next = nowMs() + 3000LL * scale;
                }
            }
        }
        const std::vector<pid_t> left = phase == Running ? std::vector<pid_t>() : descendants();
        if (phase != Running && left.empty())
            break;
        if (phase == Waiting && nowMs() >= next) {
            for (pid_t pid : left) {
                if (!interrupted)
                    stopped.push_back(describe(pid));
                ::kill(pid, SIGTERM);
            }
            phase = Terminated;
            next = nowMs() + 2000;
        } else if (phase == Terminated && nowMs() >= next) {
            for (pid_t pid : left)
                ::kill(pid, SIGKILL);
            phase = Killed;
        }
        const timespec tick {0, 50 * 1000 * 1000};
        const int sig = phase == Running ? ::sigwaitinfo(&watched, nullptr)
                                         : ::sigtimedwait(&watched, nullptr, &tick);
        if (sig > 0 && sig != SIGCHLD && !interrupted) {
            // CTest is gone or asks us to stop: so does everything below.
            interrupted = true;
            ::kill(test, SIGTERM);
            if (phase == Running) {
                phase = Waiting;
                next = nowMs() + 2000;
            }
        }
    }
    if (!stopped.empty()) {
        std::string names;
        for (const std::string &s : stopped)
            names += (names.empty() ? "" : ", ") + s;
        std::fprintf(stderr, "lumo_testguard: the test left %zu processes running, stopped: %s\n",
                     stopped.size(), names.c_str());
    }
    if (WIFSIGNALED(testStatus))
        return 128 + WTERMSIG(testStatus);
    const int rc = WEXITSTATUS(testStatus);
    return rc == 0 && !stopped.empty() ? 1 : rc;
}
