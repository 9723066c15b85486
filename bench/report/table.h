// The one table, which a terminal shows as it stands and Markdown as a table.
#pragma once

#include <ostream>
#include <vector>

#include "frame/row.h"

void writeTable(std::ostream &out, const std::vector<Row> &rows);
// What the reference of each row does, and of each curve.
void writeReferences(std::ostream &out, const std::vector<Row> &rows);
