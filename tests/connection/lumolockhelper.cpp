// The lock tests' second process: takes or probes a lock, and says so on stdout.
//   fcntl <path>   classic record lock (F_SETLKW), held until stdin closes: "locked"
//   flock <path>   flock(LOCK_EX), held until stdin closes: "locked"
//   probe <path>   tries a classic F_SETLK and lets go: "free" or "held"
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

int main(int argc, char *argv[])
{
    if (argc < 3)
        return 2;
    const int fd = ::open(argv[2], O_RDWR | O_CREAT, 0644);
    if (fd == -1)
        return 3;
    struct flock fl = {};
    fl.l_type = F_WRLCK;
    fl.l_whence = SEEK_SET;
    if (std::strcmp(argv[1], "probe") == 0) {
        std::printf("%s\n", ::fcntl(fd, F_SETLK, &fl) == 0 ? "free" : "held");
        return 0;
    }
    const bool record = std::strcmp(argv[1], "fcntl") == 0;
    if ((record ? ::fcntl(fd, F_SETLKW, &fl) : ::flock(fd, LOCK_EX)) != 0)
        return 4;
    std::printf("locked\n");
    std::fflush(stdout);
    char c;
    while (::read(0, &c, 1) > 0) { }
    return 0;
}
