#include "read_all.h"

double readAll(Rows &rows) {
  Item item;
  double sum = 0;
  while (rows.next(item))
    sum += item.price + static_cast<double>(item.stock) + item.weight + item.code[0] + item.name[12];
  return sum;
}
