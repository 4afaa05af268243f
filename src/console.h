// What the program says on standard error, and the order in which its two streams come out.
#pragma once

#include <cstdint>

// Writes one formatted message to standard error, after everything printed to standard output so far.
[[gnu::format(printf, 1, 2)]] void report(const char *format, ...);

// Begins the progress line of a dictionary step: ". . verb   table$", blanks up to 23 characters, dots up
// to 64. `table` is the name without its dollar sign.
void show_dict_step(const char *verb, const char *table);

// Begins the progress line of a table's unload, dots up to 80 characters; a longer text is shown whole.
void show_unload_step(const char *user, const char *table);

// Ends a progress line with its row count.
void show_rows_done(uint32_t rows);

// Forgets the damage of an earlier segment.
void begin_damage();

// Says that row `row` (counted inside its table) of the block at `rdba` cannot be read. Behind the first
// hundred lines of a segment damage is only counted.
void report_damaged_row(uint32_t rdba, int row);

// Says that the headers of the block at `rdba` cannot be followed, counted as a damaged row is.
void report_damaged_block(uint32_t rdba);

// Tells in one line how much damage of the segment was counted without a line of its own.
void end_damage();
