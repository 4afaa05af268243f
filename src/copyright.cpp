#include "copyright.h"

#include "console.h"

void show_copyright() {
    report("\nVexlo utilities.\n\n"
           "Recovers table data from database files without an instance. Comes with no warranty.\n\n");
}
