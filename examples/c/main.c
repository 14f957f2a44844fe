/* A host application written in C. It names itself, starts one collection
   run and, before it exits, waits at most 15 seconds for the device profile
   the library uploads in the background.

   Built against an installed library:

     cc -std=c99 -Wall -Wextra -Werror main.c \
        $(pkg-config --cflags --libs rqbehavior) -o c-example
*/
#include <RQBehavior/rqbehavior_c.h>
#include <stdio.h>

/* The library's log, written the host's way. Runs on the library's threads. */
static void log_line(const rqb_log_message* message, void* context) {
  fprintf(stderr, "%s: rqbehavior (thread %ld): %s\n", (const char*)context, message->thread_id,
          message->text);
}

int main(void) {
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

  /* The host's work would go on here. Before exiting, it waits for the
     upload it started. */
  const int sent = rqb_flush(15000) == RQB_OK;
  rqb_set_log_handler(NULL, NULL);
  if (!sent) fprintf(stderr, "%s: the upload did not finish in time\n", app);
  return sent ? 0 : 1;
}
