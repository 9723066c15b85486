// The tables that the works are done on.
#pragma once

#include "support/database_server.h"

// An empty one for writes, "work", and one to read, "item", with so many rows of the ids 1, 2, 3 ...
void makeItemTables(AdminConnection &admin, unsigned long long rows);
