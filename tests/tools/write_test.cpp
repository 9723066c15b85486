// orvdb insert, update, delete
#include <gmock/gmock.h>

#include <fstream>

#include "tools/tool_fixture.h"

namespace {

using Rows = std::vector<Row>;

class ToolWrite : public ToolTest {
 protected:
  ToolWrite() {
    admin().query(
        "CREATE TABLE item (id INT AUTO_INCREMENT PRIMARY KEY, name VARCHAR(50), price DECIMAL(8,2), data BLOB)");
  }

  Answer write(const std::string &command, const Words &more, const std::string &input = "") const {
    return run(onDatabase(command, more), input);
  }
  Rows items() { return admin().query("SELECT id, name, price, data FROM item ORDER BY id"); }
};

TEST_F(ToolWrite, InsertStoresValuesAsTextAndTellsTheNewId) {
  EXPECT_EQ(write("insert", {"item", "name=a=b ä", "price=-12.5"}), (Answer{0, "1 row affected, new id 1\n", ""}));
  EXPECT_EQ(items(), (Rows{{"1", "a=b ä", "-12.50", std::nullopt}}));
}

TEST_F(ToolWrite, InsertTellsTheNewIdAsJson) {
  EXPECT_EQ(write("insert", {"item", "name=", "--json"}), (Answer{0, "{\"affected_rows\":1,\"insert_id\":1}\n", ""}));
  EXPECT_EQ(items(), (Rows{{"1", "", std::nullopt, std::nullopt}}));
}

TEST_F(ToolWrite, InsertStoresNullAndTheBytesOfAFile) {
  const std::string bytes("\xff\0x", 3);
  std::ofstream(folder() / "blob", std::ios::binary) << bytes;
  EXPECT_EQ(write("insert", {"item", "--null", "name", "price=1", "--blob", "data=@" + (folder() / "blob").string()}),
            (Answer{0, "1 row affected, new id 1\n", ""}));
  EXPECT_EQ(items(), (Rows{{"1", std::nullopt, "1.00", bytes}}));
}

TEST_F(ToolWrite, InsertStoresTheBytesOfStandardInput) {
  EXPECT_EQ(write("insert", {"item", "--blob", "data=@-"}, "in\n").status, 0);
  EXPECT_EQ(items(), (Rows{{"1", std::nullopt, std::nullopt, "in\n"}}));
}

TEST_F(ToolWrite, FileThatCannotBeReadIsAFailure) {
  EXPECT_EQ(write("insert", {"item", "--blob", "data=@/no/file"}),
            (Answer{1, "", "orvdb: cannot read /no/file: No such file or directory\n"}));
  EXPECT_EQ(write("insert", {"item", "--blob", "data=@/tmp"}),
            (Answer{1, "", "orvdb: cannot read /tmp: Is a directory\n"}));
  EXPECT_EQ(items(), Rows());
}

TEST_F(ToolWrite, UpdateChangesTheRowsThatMatchAllParameters) {
  admin().query("INSERT INTO item (name, price) VALUES ('[a,b]', -5), ('[a,b]', 1), ('c', -5)");
  EXPECT_EQ(write("update", {"item", "--where", "name = ? AND price = ?", "--param", "[a,b]", "--param", "-5",
                             "name=new", "--null", "price"}),
            (Answer{0, "1 row affected\n", ""}));
  EXPECT_EQ(items(), (Rows{{"1", "new", std::nullopt, std::nullopt},
                           {"2", "[a,b]", "1.00", std::nullopt},
                           {"3", "c", "-5.00", std::nullopt}}));
}

TEST_F(ToolWrite, UpdateOfAllRowsHasToBeAskedFor) {
  admin().query("INSERT INTO item (name) VALUES ('a'), ('b')");
  EXPECT_EQ(write("update", {"item", "name=c"}).status, 2);
  EXPECT_EQ(admin().value("SELECT COUNT(*) FROM item WHERE name = 'c'"), "0");
  EXPECT_EQ(write("update", {"item", "name=c", "--all"}), (Answer{0, "2 rows affected\n", ""}));
  EXPECT_EQ(admin().value("SELECT COUNT(*) FROM item WHERE name = 'c'"), "2");
}

TEST_F(ToolWrite, DeletionOfAllRowsHasToBeAskedFor) {
  admin().query("INSERT INTO item (name) VALUES ('a'), ('b')");
  EXPECT_EQ(write("delete", {"item"}).status, 2);
  EXPECT_EQ(items().size(), 2U);
  EXPECT_EQ(write("delete", {"item", "--all", "--json"}), (Answer{0, "{\"affected_rows\":2,\"insert_id\":0}\n", ""}));
  EXPECT_EQ(items(), Rows());
}

TEST_F(ToolWrite, DeleteTakesTheRowsThatMatch) {
  admin().query("INSERT INTO item (name) VALUES ('a'), ('b')");
  EXPECT_EQ(write("delete", {"item", "--where", "name = ?", "--param", "a"}), (Answer{0, "1 row affected\n", ""}));
  EXPECT_EQ(items(), (Rows{{"2", "b", std::nullopt, std::nullopt}}));
}

TEST_F(ToolWrite, WrongNumberOfParametersIsAFailure) {
  for (const char *command : {"update", "delete"}) {
    const Words value = command == std::string("update") ? Words{"name=a"} : Words{};
    Words words{"item", "--where", "name = ? AND id = ?", "--param", "a"};
    words.insert(words.end(), value.begin(), value.end());
    EXPECT_EQ(write(command, words), (Answer{1, "", "orvdb: too few or too many values for the placeholders\n"}));
  }
}

TEST_F(ToolWrite, RefusedStatementIsAFailureWithTheServersReason) {
  const Answer answer = write("insert", {"item", "colour=red"});
  EXPECT_EQ(answer.status, 1);
  EXPECT_EQ(answer.output, "");
  EXPECT_THAT(answer.errors, testing::StartsWith("orvdb: Unknown column 'colour' in "));
}

// The library would end the process.
TEST_F(ToolWrite, UpdateWhoseTextIsTooLongIsAFailure) {
  EXPECT_EQ(write("update", {"item", "name=a", "--where", "id = 1" + std::string(4096, ' ')}),
            (Answer{1, "", "orvdb: table, columns and --where are too long for one update, which has 4095 bytes\n"}));
}

TEST_F(ToolWrite, UpdateWhoseTextIsNearlyTooLongIsDone) {
  admin().query("INSERT INTO item (name) VALUES ('b')");
  EXPECT_EQ(write("update", {"item", "name=a", "--where", "id = 1" + std::string(4000, ' ')}),
            (Answer{0, "1 row affected\n", ""}));
}

}  // namespace
