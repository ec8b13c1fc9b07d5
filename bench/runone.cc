// runone STDIN_FILE CMD ARGS...: runs CMD with standard input from
// STDIN_FILE and its output thrown away, then prints
// "seconds maxrss_kb exit_status" on one line. Wall time comes from the
// monotonic clock, peak memory from the child's own rusage, so no /usr/bin/time
// is needed. A child killed by a signal shows as 128 + the signal number.
#include <cerrno>
#include <cstdio>
#include <ctime>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

int main(int argc, char **argv)
{
    if (argc < 3) {
        std::fputs("usage: runone STDIN_FILE CMD [ARGS...]\n", stderr);
        return 2;
    }
    int in = open(argv[1], O_RDONLY);
    if (in < 0) {
        std::perror(argv[1]);
        return 2;
    }
    int null = open("/dev/null", O_WRONLY);
    if (null < 0) {
        std::perror("/dev/null");
        return 2;
    }

    timespec t0{}, t1{};
    clock_gettime(CLOCK_MONOTONIC, &t0);
    pid_t pid = fork();
    if (pid < 0) {
        std::perror("fork");
        return 2;
    }
    if (pid == 0) {
        dup2(in, 0);
        dup2(null, 1);
        dup2(null, 2);
        execvp(argv[2], argv + 2);
        _exit(127);
    }
    int status = 0;
    rusage usage{};
    while (wait4(pid, &status, 0, &usage) < 0) {
        if (errno != EINTR) {
            std::perror("wait4");
            return 2;
        }
    }
    clock_gettime(CLOCK_MONOTONIC, &t1);

    double seconds = static_cast<double>(t1.tv_sec - t0.tv_sec) +
                     static_cast<double>(t1.tv_nsec - t0.tv_nsec) / 1e9;
    int code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    std::printf("%.6f %ld %d\n", seconds, usage.ru_maxrss, code);
    return 0;
}
