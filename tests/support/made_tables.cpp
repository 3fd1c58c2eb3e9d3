#include "support/made_tables.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>
#include <numeric>
#include <sstream>

#include "apps/cli/tb_command.h"
#include "apps/makers/tables/table_file.h"
#include "egtb/nalimov/lengths.h"

namespace torval {

MadeTables::MadeTables(const std::vector<std::string>& classes)
    : folder_(std::filesystem::path(testing::TempDir()) /
              ("torval_tables_" + std::to_string(getpid()))) {
    std::istringstream in;
    std::ostringstream out;
    Console console{in, out, out, false};
    MakeTables({.classes = classes, .men = classes.empty() ? 3 : 0, .out = Folder()}, console);
}

MadeTables::~MadeTables() { std::filesystem::remove_all(folder_); }

std::vector<ListedValue> ListedValues() {
    std::ifstream in(TORVAL_TEST_DATA "/reference/tablebase/values.tsv");
    std::vector<ListedValue> values;
    std::string line;
    std::getline(in, line);
    while (std::getline(in, line)) {
        const std::size_t tab = line.find('\t');
        values.push_back(
            {line.substr(0, tab), static_cast<TablebaseValue>(std::stoi(line.substr(tab + 1)))});
    }
    return values;
}

TableSet MakeClassesBefore(int end) {
    BuildIndexTables();
    std::vector<int> ids(static_cast<std::size_t>(end - 1));
    std::iota(ids.begin(), ids.end(), 1);
    TableSet tables;
    for (const int id : InOrderOfNeed(ids)) tables.Put(id, Generate(id, tables, [](double) {}));
    return tables;
}

std::string MadeFile(const std::string& folder, int class_id, std::size_t side) {
    return (std::filesystem::path(folder) / TableFileName(class_id, static_cast<int>(side)))
        .string();
}

void WriteMadeFiles(const TableSet& tables, int class_id, const std::string& folder) {
    for (std::size_t side = 0; side < static_cast<std::size_t>(SidesOf(class_id)); ++side) {
        const auto* const data =
            reinterpret_cast<const char*>(tables.Of(class_id).side[side].data());
        std::ofstream(MadeFile(folder, class_id, side), std::ios::binary)
            .write(data, kEntryCounts[static_cast<std::size_t>(class_id)][side]);
    }
}

}  // namespace torval
