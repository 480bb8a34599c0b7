// corvel db version|compact
#include <CLI/CLI.hpp>
#include <system_error>

#include "cli/CommandTable.h"

namespace {

int PrintVersion(clsCommandContext& context) {
    if (!context.OpenDatabase()) {
        return 1;
    }
    context.Out() << context.Database().GetVersion() << "\n";
    return 0;
}

int Compact(clsCommandContext& context) {
    if (!context.OpenDatabase()) {
        return 1;
    }
    const std::filesystem::path file = context.Database().DatabaseFile();
    std::error_code error;
    const auto before = std::filesystem::file_size(file, error);
    if (!context.Database().CompactDatabase()) {
        return context.Fail("compaction failed and the database was left as it was; the log " +
                            context.Log().FullFilename().string() + " says why");
    }
    const auto after = std::filesystem::file_size(file, error);
    context.Out() << "Compacted " << file.string() << ": " << before << " bytes -> " << after
                  << " bytes\n";
    return 0;
}

}  // namespace

void AddDbCommand(CLI::App& app, clsCommandAction& selected) {
    CLI::App* db = app.add_subcommand("db", "The rules database: schema version and compaction");
    db->add_subcommand("version", "Print the schema version (an older database is upgraded first)")
        ->callback([&selected] { selected = PrintVersion; });
    db->add_subcommand("compact", "Compact the database file to reclaim free space")
        ->callback([&selected] { selected = Compact; });
}
