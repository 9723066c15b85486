// The works of the database path, for what they take in the calling process; their time is the database server's.
#include "works.h"

namespace {

template <class Call>
Work storeWork(const std::string &name, Surroundings &surroundings, Call call) {
  const auto doneWith = [call](ItemStore &store) {
    return [call, &store](std::size_t count) {
      for (std::size_t i = 0; i < count; ++i)
        call(store);
    };
  };
  return {name + ", the calling process alone",
          "the same call by call",
          {},
          doneWith(*surroundings.library),
          doneWith(*surroundings.reference)};
}

void readOne(const std::unique_ptr<Rows> &rows) {
  Item item;
  while (rows->next(item)) {
  }
}

}  // namespace

void addStoreWorks(std::vector<Work> &works, Surroundings &surroundings) {
  Item item;
  std::string("item number 1").copy(item.name, sizeof item.name - 1);
  item.codeLength = 16;
  works.push_back(storeWork("insert of 5 columns", surroundings, [item](ItemStore &store) { store.insert(item); }));
  const unsigned long long id = surroundings.reference->insert(item);
  works.push_back(storeWork("update by id", surroundings,
                            [id, price = std::make_shared<int>(0)](ItemStore &store) { store.update(id, ++*price); }));
  works.push_back(storeWork("query of 1 row", surroundings, [](ItemStore &store) { readOne(store.selectOne(1)); }));
  works.push_back(
      storeWork("raw query of 1 row", surroundings, [](ItemStore &store) { readOne(store.selectOneText(1)); }));
}
