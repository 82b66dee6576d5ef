// procman: the stored procedure manager. The entry hands the command line to the shell:
// "-version" / "-briefversion" (or with "/") print and end; "-U user/password" and
// "-N node" log on without or with a shorter registration dialog.
#include "shell/shell.h"

int main(int argc, char** argv) { return tavrel::procman_main(argc, argv); }
