#include "tables.h"

void makeItemTables(AdminConnection &admin, unsigned long long rows) {
  const std::string columns =
      "(_id BIGINT UNSIGNED AUTO_INCREMENT PRIMARY KEY, name VARCHAR(64), price INT, stock BIGINT, weight DOUBLE, "
      "code BLOB)";
  admin.query("CREATE TABLE work " + columns);
  admin.query("CREATE TABLE item " + columns);
  admin.query(
      "INSERT INTO item(name,price,stock,weight,code) SELECT CONCAT('item number ',seq), seq % 10000, seq*1000003, "
      "seq/8, UNHEX(MD5(seq)) FROM seq_1_to_" +
      std::to_string(rows));
}
