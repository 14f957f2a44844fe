/* A host application written in C. It names itself, starts one collection
   run and then serves the library's main queue from its own main loop until
   it is asked to stop (SIGINT or SIGTERM), at most 30 seconds, while the
   library uploads the device profile in the background.

   Built against an installed library:

     cc -std=c99 -Wall -Wextra -Werror main.c \
        $(pkg-config --cflags --libs rqbehavior) -o c-example
*/
#define _POSIX_C_SOURCE 200809L /* sigaction, nanosleep */

#include <RQBehavior/rqbehavior_c.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <time.h>

static volatile sig_atomic_t stop_requested = 0;

static void request_stop(int signal_number) {
  (void)signal_number;
  stop_requested = 1;
}

/* The library's log, written the host's way. Runs on the library's threads. */
static void log_line(const rqb_log_message* message, void* context) {
  fprintf(stderr, "%s: rqbehavior (thread %ld): %s\n", (const char*)context, message->thread_id,
          message->text);
}

int main(void) {
  struct sigaction action;
  memset(&action, 0, sizeof action);
  action.sa_handler = request_stop;
  sigaction(SIGINT, &action, NULL);
  sigaction(SIGTERM, &action, NULL);

  static const char app[] = "c-example";
  if (rqb_set_log_handler(log_line, (void*)app) != RQB_OK || rqb_set_app(app) != RQB_OK) {
    fprintf(stderr, "%s: the library is not usable\n", app);
    return 1;
  }

  char session[RQB_SESSION_ID_SIZE];
  if (rqb_generate_session_id(session, sizeof session) != RQB_OK) return 1;
  rqb_error* error = NULL;
  const rqb_status status = rqb_collect_device_information(session, &error);
  if (status != RQB_OK) {
    fprintf(stderr, "%s: no collection: %s: %s\n", app, error ? error->name : "status",
            error && error->reason ? error->reason : "");
    rqb_error_free(error);
    return 1;
  }
  printf("%s: collecting the device profile for session %s\n", app, session);
  fflush(stdout);

  /* The host's main loop: it has no event loop of the library's, so it
     serves the library's main queue itself. */
  const struct timespec tick = {0, 50L * 1000 * 1000};
  for (int ticks = 0; !stop_requested && ticks < 600; ++ticks) {
    rqb_drain_main_queue();
    nanosleep(&tick, NULL);
  }
  return 0;
}
