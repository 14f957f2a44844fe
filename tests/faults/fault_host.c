/* A host program for the fault campaign. It uses the library through the C
   interface alone, as a host written in C would, and makes no system call of
   its own while a tracer injects faults into the library's calls.

     rqbehavior_fault_host [--flush-ms MS] [--later-runs N] [--leave-after-first]
                           [--nofile LIMIT --free-fds N] [--as-mib LIMIT]

   It talks with the driver by signals, which need none of the faulted calls:
   1. With its log handler and limits set (a soft RLIMIT_NOFILE with all but
      N descriptors held, a soft RLIMIT_AS), SIGUSR2 to the driver, and
      SIGUSR1 awaited while the driver attaches its tracer.
   2. Run 1: a new session identifier, one collection, rqb_flush(MS).
   3. SIGUSR2, and SIGUSR1 awaited while the driver detaches its tracer; the
      held descriptors closed, RLIMIT_AS raised again. N more runs (1 unless
      told). With --leave-after-first, none of this step.
   4. The report on stdout, SIGUSR2, and main returns 0, so the driver can
      time exit().

   Report lines, one per run and one per log message (the first 64):
     run <n> session=<id> generated=<yes|no> collect=<status> flush=<status> ms=<elapsed>
     log <run> <text>
   A log message belongs to the run that was last started when it came. */
#define _POSIX_C_SOURCE 200809L

#include <RQBehavior/rqbehavior_c.h>
#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <time.h>
#include <unistd.h>

#define MAX_RUNS 8
#define MAX_LOG_LINES 64
#define LOG_TEXT_SIZE 400
#define MAX_HELD_FDS 4096
#define SIGNAL_WAIT_SECONDS 120

/* What the log handler keeps, in memory only: writing it out while the
   tracer is attached would make calls the faults are aimed at. */
static pthread_mutex_t log_mutex = PTHREAD_MUTEX_INITIALIZER;
static int current_run; /* guarded by log_mutex */
static int log_count;   /* guarded by log_mutex */
static int log_run[MAX_LOG_LINES];
static char log_text[MAX_LOG_LINES][LOG_TEXT_SIZE];

/* The report's line of each run, made when the run ends: formatting makes
   no system call. */
static char run_lines[MAX_RUNS][RQB_SESSION_ID_SIZE + 128];

static void keep_log_line(const rqb_log_message* message, void* context) {
  (void)context;
  pthread_mutex_lock(&log_mutex);
  if (log_count < MAX_LOG_LINES) {
    log_run[log_count] = current_run;
    snprintf(log_text[log_count++], LOG_TEXT_SIZE, "%s", message->text);
  }
  pthread_mutex_unlock(&log_mutex);
}

/* Monotonic milliseconds; clock_gettime runs in the vDSO, with no system call. */
static long now_ms(void) {
  struct timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return (long)now.tv_sec * 1000 + now.tv_nsec / 1000000;
}

/* Waits for SIGUSR1 from the driver (blocked since the start, so it waits as
   pending). False when the driver never sends it. */
static int wait_for_driver(void) {
  sigset_t go;
  sigemptyset(&go);
  sigaddset(&go, SIGUSR1);
  const struct timespec limit = {SIGNAL_WAIT_SECONDS, 0};
  for (;;) {
    if (sigtimedwait(&go, NULL, &limit) == SIGUSR1) return 1;
    if (errno != EINTR) return 0;
  }
}

static void tell_driver(void) { kill(getppid(), SIGUSR2); }

static const char* status_name(rqb_status status) {
  static const char* const names[] = {
      "ok", "exception", "invalid-argument", "buffer-too-small", "internal-error", "timed-out"};
  return (unsigned)status < sizeof names / sizeof *names ? names[status] : "unknown";
}

static void collect_once(int run, uint32_t flush_ms) {
  pthread_mutex_lock(&log_mutex);
  current_run = run;
  pthread_mutex_unlock(&log_mutex);
  const long start = now_ms();
  char session[RQB_SESSION_ID_SIZE];
  const int generated = rqb_generate_session_id(session, sizeof session) == RQB_OK;
  if (!generated) {
    /* A host falls back to an identifier of its own. */
    snprintf(session, sizeof session, "FAULT-HOST-%ld-%d", (long)getpid(), run);
  }
  rqb_error* error = NULL;
  const rqb_status collect = rqb_collect_device_information(session, &error);
  rqb_error_free(error);
  const rqb_status flush = rqb_flush(flush_ms);
  snprintf(run_lines[run - 1], sizeof run_lines[run - 1],
           "run %d session=%s generated=%s collect=%s flush=%s ms=%ld\n", run, session,
           generated ? "yes" : "no", status_name(collect), status_name(flush), now_ms() - start);
}

/* Opens descriptors until the limit refuses one, then closes `free_fds` of
   them, so that the library's calls find only those free. */
static int held_fds[MAX_HELD_FDS];
static int held_count;

static void hold_descriptors(int free_fds) {
  while (held_count < MAX_HELD_FDS) {
    const int fd = open("/dev/null", O_RDONLY | O_CLOEXEC);
    if (fd < 0) break;
    held_fds[held_count++] = fd;
  }
  for (int i = 0; i < free_fds && held_count > 0; ++i) close(held_fds[--held_count]);
}

static void release_descriptors(void) {
  while (held_count > 0) close(held_fds[--held_count]);
}

/* Sets the soft limit of `resource`: to `soft`, or when that is 0 back to
   the hard limit. */
static int set_soft_limit(int resource, rlim_t soft) {
  struct rlimit limit;
  if (getrlimit(resource, &limit) != 0) return 0;
  limit.rlim_cur = soft > 0 ? soft : limit.rlim_max;
  return setrlimit(resource, &limit) == 0;
}

struct options {
  long flush_ms, later_runs, nofile, free_fds, as_mib;
  int leave_after_first;
};

static int parse_options(int argc, char** argv, struct options* options) {
  const struct {
    const char* name;
    long* value;
  } numbers[] = {{"--flush-ms", &options->flush_ms},
                 {"--later-runs", &options->later_runs},
                 {"--nofile", &options->nofile},
                 {"--free-fds", &options->free_fds},
                 {"--as-mib", &options->as_mib}};
  const size_t count = sizeof numbers / sizeof *numbers;
  for (int i = 1; i < argc; ++i) {
    size_t n = 0;
    while (n < count && strcmp(argv[i], numbers[n].name) != 0) ++n;
    if (n < count && i + 1 < argc) {
      *numbers[n].value = atol(argv[++i]);
    } else if (strcmp(argv[i], "--leave-after-first") == 0) {
      options->leave_after_first = 1;
    } else {
      return 0;
    }
  }
  return options->later_runs >= 0 && options->later_runs < MAX_RUNS;
}

static void report(int runs) {
  for (int run = 0; run < runs; ++run) fputs(run_lines[run], stdout);
  pthread_mutex_lock(&log_mutex);
  for (int i = 0; i < log_count; ++i) printf("log %d %s\n", log_run[i], log_text[i]);
  pthread_mutex_unlock(&log_mutex);
  fflush(stdout);
}

int main(int argc, char** argv) {
  /* SIGUSR1 alone is blocked, whatever the driver had blocked: set before
     the library starts any thread, so that every thread inherits the mask
     and the driver's signals wait for sigtimedwait. */
  sigset_t driver_signals;
  sigemptyset(&driver_signals);
  sigaddset(&driver_signals, SIGUSR1);
  pthread_sigmask(SIG_SETMASK, &driver_signals, NULL);

  struct options options = {.flush_ms = 20000, .later_runs = 1};
  if (!parse_options(argc, argv, &options)) {
    fprintf(stderr, "usage: see the comment at the top of fault_host.c\n");
    return 64;
  }
  if (rqb_set_log_handler(keep_log_line, NULL) != RQB_OK || rqb_set_app("fault-host") != RQB_OK) {
    fprintf(stderr, "fault host: the library is not usable\n");
    return 1;
  }
  if (options.nofile > 0) {
    if (!set_soft_limit(RLIMIT_NOFILE, (rlim_t)options.nofile)) return 77;
    hold_descriptors(options.free_fds);
  }
  if (options.as_mib > 0 && !set_soft_limit(RLIMIT_AS, (rlim_t)options.as_mib << 20)) return 77;

  /* Where Yama allows tracing by ancestors only, the tracer is a sibling. */
  prctl(PR_SET_PTRACER, PR_SET_PTRACER_ANY, 0, 0, 0);

  tell_driver();
  if (!wait_for_driver()) return 2;
  collect_once(1, (uint32_t)options.flush_ms);
  int runs = 1;

  if (!options.leave_after_first) {
    tell_driver();
    if (!wait_for_driver()) return 2;
    release_descriptors();
    if (options.as_mib > 0) set_soft_limit(RLIMIT_AS, 0);
    for (; runs <= options.later_runs; ++runs) collect_once(runs + 1, (uint32_t)options.flush_ms);
  }
  report(runs);
  rqb_set_log_handler(NULL, NULL);
  tell_driver();
  return 0;
}
