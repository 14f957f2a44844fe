/* Uses the C interface without the network: names the application, makes a
   session identifier and sees a short one refused. Prints "ok" and exits 0. */
#include <RQBehavior/rqbehavior_c.h>
#include <stdio.h>
#include <string.h>

static int fail(const char* what) {
  printf("tiny C host: %s\n", what);
  return 1;
}

int main(void) {
  char session[RQB_SESSION_ID_SIZE];
  rqb_error* error = NULL;
  if (rqb_set_app("tiny-host-c") != RQB_OK) return fail("app refused");
  if (rqb_generate_session_id(session, sizeof session) != RQB_OK || strlen(session) != 36) {
    return fail("no session identifier");
  }
  if (rqb_collect_device_information("12345", &error) != RQB_EXCEPTION || error == NULL ||
      strcmp(error->name, "NoSessionID") != 0) {
    return fail("short session identifier not refused");
  }
  rqb_error_free(error);
  puts("ok");
  return 0;
}
