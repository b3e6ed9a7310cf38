/* Uses an installed sfpdrv: the headers compile as C, the library links and
 * its exported functions answer as documented. */
#include <stdio.h>

#include <sfpdrv/sfpdrv.h>

#if defined(CONSUMER_WITH_PLATFORM)
#include "platform/pelog.h"
#endif

int main(void) {
  int failures = 0;

  const sfp_lib_ctx *lib = sfp_get_ctx();
  if (lib == NULL) {
    fprintf(stderr, "consumer: sfp_get_ctx() returned NULL\n");
    ++failures;
  } else if (lib->initialised != 0 || lib->ports != NULL) {
    fprintf(stderr, "consumer: library state not empty before any port was created\n");
    ++failures;
  }

  const sfp_rc rc = sfp_port_delete(NULL);
  if (rc != SFP_RC_INVALID) {
    fprintf(stderr, "consumer: sfp_port_delete(NULL) returned %u, expected 22\n", (unsigned)rc);
    ++failures;
  }

#if defined(CONSUMER_WITH_PLATFORM)
  /* No buffer is open before the first port creation. */
  if (pelog_find("sfp_err") != NULL) {
    fprintf(stderr, "consumer: trace buffer sfp_err open before any port was created\n");
    ++failures;
  }
#endif

  if (failures != 0) {
    return 1;
  }
  printf("consumer: ok\n");
  return 0;
}
