// lumo_testguard PROGRAM [ARGS...]: runs one test as its child, and ends with it
// every process the test started. A child subreaper, it adopts what the test
// started detached (the launcher double-forks) or left orphaned, so all of it
// stays in the process tree CTest kills on a timeout. What still runs when the
// test ends gets 3 s, then is stopped, named and counted as a failure. When
// CTest goes away, the parent-death signal stops the test and all below it.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <map>
#include <signal.h>
#include <string>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

// Every live process below this one, as "pid (name)", from /proc.
std::map<pid_t, std::string> descendants()
{
    std::multimap<pid_t, std::pair<pid_t, std::string>> children;
    DIR *proc = ::opendir("/proc");
    while (const dirent *e = proc ? ::readdir(proc) : nullptr) {
        char path[300], stat[512] = {}, name[64] = {}, state = 0;
        int ppid = 0;
        if (e->d_name[0] < '0' || e->d_name[0] > '9')
            continue;
        std::snprintf(path, sizeof path, "/proc/%s/stat", e->d_name);
        if (FILE *f = std::fopen(path, "r")) {
            stat[std::fread(stat, 1, sizeof stat - 1, f)] = 0;
            std::fclose(f);
        }
        // "pid (comm) state ppid ...": comm may hold blanks and parentheses.
        const char *open = std::strchr(stat, '('), *close = std::strrchr(stat, ')');
        if (!open || !close || std::sscanf(close + 1, " %c %d", &state, &ppid) != 2 || state == 'Z')
            continue;
        std::memcpy(name, open + 1, std::min<size_t>(close - open - 1, sizeof name - 1));
        children.emplace(ppid, std::make_pair(std::atoi(e->d_name), name));
    }
    if (proc)
        ::closedir(proc);
    std::map<pid_t, std::string> out;
    for (std::vector<pid_t> todo {::getpid()}; !todo.empty();) {
        const auto [first, last] = children.equal_range(todo.back());
        todo.pop_back();
        for (auto it = first; it != last; ++it) {
            out[it->second.first] =
                std::to_string(it->second.first) + " (" + it->second.second + ")";
            todo.push_back(it->second.first);
        }
    }
    return out;
}

} // namespace

int main(int argc, char *argv[])
{
    if (argc < 2)
        return 2;
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
        std::perror(argv[1]);
        ::_exit(127);
    }

    // The test runs; once it has ended (or is told to), what is left gets a
    // grace period, then SIGTERM, then 2 s later SIGKILL.
    const int scale = std::max(1, std::atoi(std::getenv("LUMO_TEST_TIME_SCALE") ?: "1"));
    int status = 0, signalled = 0;
    bool ended = false, interrupted = false;
    std::string stopped;
    for (int tick = 0;; ++tick) {
        for (int st; const pid_t pid = ::waitpid(-1, &st, WNOHANG);) {
            if (pid < 0)
                break;
            if (pid == test) {
                status = st;
                ended = true;
                tick = 0;
            }
        }
        const std::map<pid_t, std::string> left =
            ended || interrupted ? descendants() : std::map<pid_t, std::string>();
        if (ended && left.empty())
            break;
        if (!left.empty() && tick >= (interrupted ? 0 : 60 * scale) + 40 * signalled) {
            for (const auto &[pid, name] : left) {
                if (!interrupted && !signalled)
                    stopped += (stopped.empty() ? "" : ", ") + name;
                ::kill(pid, signalled ? SIGKILL : SIGTERM);
            }
            signalled = std::min(signalled + 1, 2);
        }
        const timespec tick50ms {0, 50 * 1000 * 1000};
        const int sig = ended || interrupted ? ::sigtimedwait(&watched, nullptr, &tick50ms)
                                             : ::sigwaitinfo(&watched, nullptr);
        if (sig > 0 && sig != SIGCHLD && !interrupted) {
            interrupted = true; // CTest is gone or asks us to stop
            ::kill(test, SIGTERM);
            tick = 0;
        }
    }
    if (!stopped.empty())
        std::fprintf(stderr, "lumo_testguard: the test left running, stopped: %s\n",
                     stopped.c_str());
    if (WIFSIGNALED(status))
        return 128 + WTERMSIG(status);
    return WEXITSTATUS(status) == 0 && !stopped.empty() ? 1 : WEXITSTATUS(status);
}
