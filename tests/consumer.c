/* What a daemon in C does first; the test puts the includes of all installed headers above. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

int main(void) {
    int count = 0;
    applet_info *table = tarrow_get_module_applets(&count);
    char *name = get_wan_interface();
    dc_args_t args;
    memset(&args, 0, sizeof(args));
    args.dc_type = TARROW_CB_ARGS_XML;
    printf("%d %s %s %d %.6s\n", count, table[0].di_modname, table[count - 1].di_modname,
           tarrow_call_module_post_get_handler("wan", TARROW_ACTION_GET, &args), name != NULL ? name : "(null)");
    free(name);
    free(table);
    return 0;
}
