/* The benchmark's timing driver: runs a set of jobs round after round,
 * interleaved (job 1, job 2, ..., job 1, job 2, ...), so that a slow moment
 * of the machine falls on all of them alike, and prints per job the median
 * and quartiles of the wall time, the median CPU time (user + system, from
 * wait4), the peak resident memory (ru_maxrss, from wait4) and how many runs
 * ended with a status other than 0.
 *
 *   drive ROUNDS WARMUP JOBFILE
 *
 * JOBFILE holds jobs separated by blank lines; each job is lines of
 *   job NAME        the name printed in the result (first line of a job)
 *   in PATH         standard input (default /dev/null)
 *   out PATH        standard output, truncated before each run (default /dev/null)
 *   env KEY=VALUE   one environment entry; the environment is exactly these
 *   arg WORD        argv[0], argv[1], ...; argv[0] is the program's path
 * Output: one tab-separated line per job:
 *   NAME  median_us  q1_us  q3_us  cpu_median_us  maxrss_kb  failures
 *
 * The driver is linked statically and stays small: a child's ru_maxrss
 * counts the memory of the process image it replaced, which is this one. */
#define _GNU_SOURCE
#include <fcntl.h>
#include <spawn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#define MAX_JOBS 256
#define MAX_WORDS 64

struct job {
    char* name;
    char* in;
    char* out;
    char* env[MAX_WORDS + 1];
    int nenv;
    char* arg[MAX_WORDS + 1];
    int narg;
    long long* wall;  /* ns, one per round */
    long long* cpu;   /* ns */
    long maxrss;
    int failures;
};

static struct job jobs[MAX_JOBS];
static int njobs;

static void die(const char* what)
{
    perror(what);
    exit(2);
}

static char* dup_text(const char* s)
{
    char* d = strdup(s);
    if (!d)
        die("strdup");
    return d;
}

static void read_jobs(const char* path)
{
    FILE* f = fopen(path, "r");
    if (!f)
        die(path);
    char line[8192];
    struct job* j = NULL;
    while (fgets(line, sizeof line, f)) {
        size_t len = strlen(line);
        if (len && line[len - 1] == '\n')
            line[--len] = '\0';
        if (len == 0) {
            j = NULL;
            continue;
        }
        char* sp = strchr(line, ' ');
        const char* value = sp ? sp + 1 : "";
        if (sp)
            *sp = '\0';
        if (strcmp(line, "job") == 0) {
            if (njobs == MAX_JOBS) {
                fprintf(stderr, "drive: too many jobs\n");
                exit(2);
            }
            j = &jobs[njobs++];
            j->name = dup_text(value);
            continue;
        }
        if (!j) {
            fprintf(stderr, "drive: '%s' outside a job\n", line);
            exit(2);
        }
        if (strcmp(line, "in") == 0)
            j->in = dup_text(value);
        else if (strcmp(line, "out") == 0)
            j->out = dup_text(value);
        else if (strcmp(line, "env") == 0 && j->nenv < MAX_WORDS)
            j->env[j->nenv++] = dup_text(value);
        else if (strcmp(line, "arg") == 0 && j->narg < MAX_WORDS)
            j->arg[j->narg++] = dup_text(value);
        else {
            fprintf(stderr, "drive: bad line '%s'\n", line);
            exit(2);
        }
    }
    fclose(f);
}

static long long now_ns(void)
{
    struct timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return (long long)ts.tv_sec * 1000000000LL + ts.tv_nsec;
}

static long long tv_ns(struct timeval tv) { return (long long)tv.tv_sec * 1000000000LL + tv.tv_usec * 1000LL; }

/* One run of job j; fills wall and cpu time, returns the exit status. */
static int run(struct job* j, long long* wall, long long* cpu, long* maxrss)
{
    posix_spawn_file_actions_t fa;
    posix_spawn_file_actions_init(&fa);
    posix_spawn_file_actions_addopen(&fa, 0, j->in ? j->in : "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&fa, 1, j->out ? j->out : "/dev/null", O_WRONLY | O_CREAT | O_TRUNC, 0644);
    long long start = now_ns();
    pid_t pid;
    int err = posix_spawn(&pid, j->arg[0], &fa, NULL, j->arg, j->env);
    posix_spawn_file_actions_destroy(&fa);
    if (err != 0) {
        fprintf(stderr, "drive: cannot start %s: %s\n", j->arg[0], strerror(err));
        exit(2);
    }
    int status;
    struct rusage ru;
    if (wait4(pid, &status, 0, &ru) < 0)
        die("wait4");
    *wall = now_ns() - start;
    *cpu = tv_ns(ru.ru_utime) + tv_ns(ru.ru_stime);
    *maxrss = ru.ru_maxrss;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

static int cmp_ll(const void* a, const void* b)
{
    long long x = *(const long long*)a, y = *(const long long*)b;
    return x < y ? -1 : x > y;
}

/* The value at fraction q of the sorted runs (q = 0.5: the median). */
static long long quantile(long long* v, int n, double q)
{
    qsort(v, (size_t)n, sizeof *v, cmp_ll);
    double pos = q * (n - 1);
    int lo = (int)pos;
    int hi = lo + 1 < n ? lo + 1 : lo;
    return (long long)(v[lo] + (v[hi] - v[lo]) * (pos - lo));
}

int main(int argc, char** argv)
{
    if (argc != 4) {
        fprintf(stderr, "usage: drive ROUNDS WARMUP JOBFILE\n");
        return 2;
    }
    int rounds = atoi(argv[1]), warmup = atoi(argv[2]);
    if (rounds < 1)
        rounds = 1;
    read_jobs(argv[3]);
    for (int i = 0; i < njobs; ++i) {
        if (jobs[i].narg == 0) {
            fprintf(stderr, "drive: job %s has no program\n", jobs[i].name);
            return 2;
        }
        jobs[i].wall = calloc((size_t)rounds, sizeof(long long));
        jobs[i].cpu = calloc((size_t)rounds, sizeof(long long));
        if (!jobs[i].wall || !jobs[i].cpu)
            die("calloc");
    }
    for (int r = -warmup; r < rounds; ++r) {
        for (int i = 0; i < njobs; ++i) {
            /* Every other round runs the jobs backwards, so no job always
             * follows the same neighbour. */
            struct job* j = &jobs[(r & 1) ? njobs - 1 - i : i];
            long long wall, cpu;
            long rss;
            int status = run(j, &wall, &cpu, &rss);
            if (r < 0)
                continue;
            j->wall[r] = wall;
            j->cpu[r] = cpu;
            if (rss > j->maxrss)
                j->maxrss = rss;
            if (status != 0)
                j->failures++;
        }
    }
    for (int i = 0; i < njobs; ++i) {
        struct job* j = &jobs[i];
        long long med = quantile(j->wall, rounds, 0.5);
        long long q1 = quantile(j->wall, rounds, 0.25);
        long long q3 = quantile(j->wall, rounds, 0.75);
        long long cpu = quantile(j->cpu, rounds, 0.5);
        printf("%s\t%.1f\t%.1f\t%.1f\t%.1f\t%ld\t%d\n", j->name, med / 1e3, q1 / 1e3, q3 / 1e3, cpu / 1e3, j->maxrss,
               j->failures);
    }
    return 0;
}
