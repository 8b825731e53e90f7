/* A program that has libtarn in it, and looks what that does to the rest of it. Usage: host ADDRESS OPTIONS, these for
   tarn_setOptions; prints one line for each finding. Written in C, as hosts are. */
#define _GNU_SOURCE 1
#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <tarn/tarn.h>

static volatile sig_atomic_t caught;

static void count(int number)
{
    (void)number;
    ++caught;
}

static int state_of(const char *name)
{
    void *printer = NULL;
    int state = -1;

    if (tarn_openPrinter(name, &printer, 0, 0) == TARN_OK)
        tarn_getState(printer, &state);
    tarn_closePrinter(&printer);
    return state;
}

/* Waits until the printer answered. */
static int wait_for_answer(const char *name)
{
    const struct timespec pause = {0, 20000000};
    int i;

    for (i = 0; i < 1500 && state_of(name) == 2; ++i)
        nanosleep(&pause, NULL);
    return state_of(name);
}

static int count_threads(void)
{
    DIR *tasks = opendir("/proc/self/task");
    struct dirent *task;
    int threads = 0;

    while ((task = readdir(tasks)) != NULL)
        threads += task->d_name[0] != '.';
    closedir(tasks);
    return threads;
}

/* How many threads beside ours have a signal unblocked that can be blocked. */
static int count_threads_that_take_signals(void)
{
    DIR *tasks = opendir("/proc/self/task");
    struct dirent *task;
    int takers = 0;

    while ((task = readdir(tasks)) != NULL) {
        char path[64 + sizeof task->d_name], line[256];
        FILE *status;

        if (task->d_name[0] == '.' || atoi(task->d_name) == getpid())
            continue;
        snprintf(path, sizeof path, "/proc/self/task/%s/status", task->d_name);
        status = fopen(path, "r");
        while (status != NULL && fgets(line, sizeof line, status) != NULL) {
            unsigned long long blocked;

            if (sscanf(line, "SigBlk: %llx", &blocked) == 1) {
                const unsigned long long host_signals = (1ULL << (SIGINT - 1)) | (1ULL << (SIGTERM - 1)) |
                                                        (1ULL << (SIGUSR1 - 1)) | (1ULL << (SIGCHLD - 1)) |
                                                        (1ULL << (SIGPIPE - 1)) | (1ULL << (SIGALRM - 1));
                takers += (blocked & host_signals) != host_signals;
            }
        }
        if (status != NULL)
            fclose(status);
    }
    closedir(tasks);
    return takers;
}

static int run(const char *command)
{
    fflush(stdout);
    return system(command);
}

int main(int argc, char **argv)
{
    struct sigaction action, before, after;
    char list[512], command[256];
    pid_t child;
    int i, status;

    if (argc != 3)
        return 64;
    memset(&action, 0, sizeof action);
    action.sa_handler = count;
    sigaction(SIGUSR1, &action, NULL);
    sigaction(SIGPIPE, &action, &before);
    snprintf(list, sizeof list, "[{\"printerName\":\"a\",\"ip\":\"%s\"}]", argv[1]);
    printf("init %d\n", tarn_init());
    printf("options %d\n", tarn_setOptions(argv[2]));
    printf("list %d\n", tarn_setPrinterList(list));
    printf("state %d\n", wait_for_answer("a"));
    printf("takers %d of %s\n", count_threads_that_take_signals(), count_threads() > 1 ? "some" : "none");
    for (i = 0; i < 100; ++i)
        kill(getpid(), SIGUSR1);
    printf("signals %s\n", caught > 0 ? "here" : "lost");
    sigaction(SIGPIPE, NULL, &after);
    printf("sigpipe %s\n", after.sa_handler == count ? "kept" : "changed");

    child = fork();
    if (child == 0)
        _exit(7); /* what a child may do: exec, or end */
    waitpid(child, &status, 0);
    printf("child %d\n", WEXITSTATUS(status));
    printf("inherited %d\n", run("test \"$(ls /proc/self/fd | wc -l)\" -le 4")); /* 0, 1, 2 and the directory */
    printf("state %d\n", state_of("a"));
    snprintf(command, sizeof command, "grep -oE 'lib(netsnmp|crypto|ssl|cups|curl|usb-1)[^/]*' /proc/%d/maps | sort -u",
             (int)getpid());
    printf("loaded\n");
    run(command);
    printf("destroy %d\n", tarn_destroy());
    for (i = 0; i < 100 && count_threads() > 1; ++i) /* one that was joined may be listed a moment longer */
        usleep(10000);
    printf("threads %d\n", count_threads());
    return 0;
}
