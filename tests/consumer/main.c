/* Uses the installed flat C interface from plain C. */
#include <fenxi/fenxi_c.h>

#include <stdio.h>
#include <string.h>

static char seen[64];

static void hook(const char *text) { strncpy(seen, text, sizeof seen - 1); }

int main(void) {
    FENXI_DEBUG_OUTPUT_HOOK before = SetDebugOutputHook(hook);
    if (before != NULL || SetDebugOutputHook(NULL) != hook) return 1;
    if (sizeof(UNIKDATA) != 48) return 1;
    printf("consumer_c ok\n");
    return 0;
}
