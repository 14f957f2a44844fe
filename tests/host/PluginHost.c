/* A host that loads the library as a plug-in, starts a collection run and
   unloads it at once, while the run and its upload are under way, as a host
   that unloads its plug-ins may. The library stays loaded for the library's
   threads; the host then finds it again and waits for the upload.

   Usage: rqbehavior-plugin-host PATH-OF-THE-SHARED-LIBRARY */
#include <dlfcn.h>
#include <stdint.h>
#include <stdio.h>

#include "RQBehavior/rqbehavior_c.h"

typedef rqb_status (*set_app_fn)(const char*);
typedef rqb_status (*generate_fn)(char*, size_t);
typedef rqb_status (*collect_fn)(const char*, rqb_error**);
typedef rqb_status (*flush_fn)(uint32_t);

static int fail(const char* why) {
  fprintf(stderr, "plugin host: %s\n", why);
  return 1;
}

int main(int argc, char** argv) {
  if (argc != 2) return fail("usage: rqbehavior-plugin-host LIBRARY");
  void* plugin = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
  if (plugin == NULL) return fail(dlerror());
  set_app_fn set_app;
  generate_fn generate;
  collect_fn collect;
  /* ISO C has no conversion from dlsym's pointer to a function's: copied as POSIX advises. */
  *(void**)&set_app = dlsym(plugin, "rqb_set_app");
  *(void**)&generate = dlsym(plugin, "rqb_generate_session_id");
  *(void**)&collect = dlsym(plugin, "rqb_collect_device_information");
  if (set_app == NULL || generate == NULL || collect == NULL) return fail("missing functions");

  char session[RQB_SESSION_ID_SIZE];
  if (set_app("plugin-host") != RQB_OK || generate(session, sizeof session) != RQB_OK ||
      collect(session, NULL) != RQB_OK) {
    return fail("no collection run");
  }
  if (dlclose(plugin) != 0) return fail(dlerror());

  /* Still loaded: found without loading it again. */
  void* again = dlopen(argv[1], RTLD_NOW | RTLD_NOLOAD);
  if (again == NULL) return fail("the library was unloaded under its own threads");
  flush_fn flush;
  *(void**)&flush = dlsym(again, "rqb_flush");
  if (flush == NULL || flush(30000) != RQB_OK) return fail("the upload did not finish");
  return 0;
}
