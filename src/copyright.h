#pragma once

// Writes the start-up banner to standard error.
void show_copyright();
