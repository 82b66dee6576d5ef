// The sections of bench_engine's rows, each registered by its own file, and the pairs of rows
// whose times the summary at the end sets side by side. main registers the sections in the
// order declared here, which is the order the rows run and the summary lists them.
#pragma once

#include <string>
#include <vector>

namespace tavrel::bench {

// Rows whose times are set side by side at the end: numerator / denominator.
struct Ratio {
  std::string numerator;
  std::string denominator;
};

// Each adds its rows to the run and their pairs to *ratios.
void register_language_rows(std::vector<Ratio>* ratios);  // engine_language_rows.cpp
void register_sql_rows(std::vector<Ratio>* ratios);       // engine_sql_rows.cpp
void register_debug_rows(std::vector<Ratio>* ratios);     // engine_debug_rows.cpp
void register_debugger_wait(std::vector<Ratio>* ratios);  // engine_debugger_wait.cpp

}  // namespace tavrel::bench
