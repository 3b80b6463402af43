#include "tools/projecthost/identity/IdentityRows.h"

#include <algorithm>
#include <filesystem>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace cutstack::projecthost {

namespace {

constexpr const char* kTables = R"(
    CREATE TABLE store (token TEXT NOT NULL);
    CREATE TABLE project (
        id INTEGER PRIMARY KEY,
        path TEXT NOT NULL UNIQUE,
        save INTEGER NOT NULL,
        next_number INTEGER NOT NULL);
    CREATE TABLE item (
        project INTEGER NOT NULL REFERENCES project (id),
        number INTEGER NOT NULL,
        position INTEGER NOT NULL,
        retired_at INTEGER NOT NULL,
        kind TEXT NOT NULL,
        uuid TEXT NOT NULL,
        own_uuid TEXT NOT NULL,
        history TEXT NOT NULL,
        name TEXT NOT NULL,
        medium_path TEXT NOT NULL,
        medium_file TEXT NOT NULL,
        medium_name TEXT NOT NULL,
        source_in INTEGER,
        source_out INTEGER,
        start INTEGER,
        "end" INTEGER,
        track_kind INTEGER NOT NULL,
        track_number INTEGER NOT NULL,
        container INTEGER, -- the number of the item that holds it
        PRIMARY KEY (project, number)) WITHOUT ROWID;
    PRAGMA user_version = 1;)";
static_assert(kSchemaVersion == 1);

std::string joined(const std::vector<std::string>& history) {
    std::string text;
    for (const std::string& uuid : history)
        text.append(text.empty() ? "" : "\n").append(uuid);
    return text;
}

std::vector<std::string> split(std::string_view text) {
    std::vector<std::string> parts;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        parts.emplace_back(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return parts;
}

std::optional<ItemKind> kindNamed(std::string_view name) {
    const auto* found = std::ranges::find(kItemKindNames, name);
    if (found == kItemKindNames.end())
        return std::nullopt;
    return static_cast<ItemKind>(found - kItemKindNames.begin());
}

/// An item as its row has it; the container by its number.
struct Row {
    KnownItem known;
    std::optional<std::int64_t> container;
};

Row readRow(SqlDatabase& database, SqlStatement& select) {
    Row row;
    KnownItem& known = row.known;
    Item& item = known.item;
    known.number = select.integer();
    known.retiredAt = select.integer();
    const auto kind = kindNamed(select.text());
    if (!kind)
        database.markDamaged("a kind of item is unknown");
    item.kind = kind.value_or(ItemKind::clip);
    known.uuid = select.text();
    item.ownUuid = select.text();
    item.history = split(select.text());
    item.name = select.text();
    item.medium.path = select.text();
    item.medium.fileName = select.text();
    item.medium.name = select.text();
    item.range.in = select.optionalInteger();
    item.range.out = select.optionalInteger();
    item.start = select.optionalInteger();
    item.end = select.optionalInteger();
    item.track.kind = static_cast<TrackKind>(std::clamp<std::int64_t>(select.integer(), 0, 2));
    item.track.number = static_cast<std::int32_t>(select.integer());
    row.container = select.optionalInteger();
    return row;
}

void readItems(SqlDatabase& database, std::int64_t project, std::vector<KnownItem>& items) {
    SqlStatement select(
        database,
        "SELECT number, retired_at, kind, uuid, own_uuid, history, name, medium_path, medium_file,"
        " medium_name, source_in, source_out, start, \"end\", track_kind, track_number, container"
        " FROM item WHERE project = ? ORDER BY retired_at <> 0, position, number");
    select.bind(project);
    std::vector<std::optional<std::int64_t>> containers;
    std::unordered_map<std::int64_t, ItemIndex> indexOf;
    while (select.step()) {
        Row row = readRow(database, select);
        indexOf.emplace(row.known.number, static_cast<ItemIndex>(items.size()));
        items.push_back(std::move(row.known));
        containers.push_back(row.container);
    }
    for (std::size_t i = 0; i < items.size(); ++i)
        if (containers[i])
            if (const auto found = indexOf.find(*containers[i]); found != indexOf.end())
                items[i].item.container = found->second;
}

std::optional<std::int64_t> containerNumber(const ProjectIdentities& project, const Item& item) {
    if (item.container == kNoItem)
        return std::nullopt;
    return project.items[item.container].number;
}

/// Whether two rows would be the same, whatever their indexes are.
bool isSameRow(const ProjectIdentities& before, std::size_t i, const ProjectIdentities& now,
               std::size_t j) {
    const KnownItem& a = before.items[i];
    const KnownItem& b = now.items[j];
    if (i != j || a.retiredAt != b.retiredAt || a.uuid != b.uuid ||
        containerNumber(before, a.item) != containerNumber(now, b.item))
        return false;
    Item item = a.item;
    item.container = b.item.container;
    return item == b.item;
}

void writeRow(SqlStatement& replace, std::int64_t project, const ProjectIdentities& now,
              std::size_t position) {
    const KnownItem& known = now.items[position];
    const Item& item = known.item;
    replace.bind(project)
        .bind(known.number)
        .bind(static_cast<std::int64_t>(position))
        .bind(known.retiredAt)
        .bind(nameOfKind(item.kind))
        .bind(known.uuid)
        .bind(item.ownUuid)
        .bind(joined(item.history))
        .bind(item.name)
        .bind(item.medium.path)
        .bind(item.medium.fileName)
        .bind(item.medium.name)
        .bind(item.range.in)
        .bind(item.range.out)
        .bind(item.start)
        .bind(item.end)
        .bind(static_cast<std::int64_t>(item.track.kind))
        .bind(std::int64_t{item.track.number})
        .bind(containerNumber(now, item))
        .step();
}

} // namespace

void makeTables(SqlDatabase& database, std::string_view token) {
    database.run(kTables);
    SqlStatement(database, "INSERT INTO store (token) VALUES (?)").bind(token).step();
}

ProjectIdentities readProject(SqlDatabase& database, const std::string& projectPath,
                              std::int64_t& row) {
    ProjectIdentities project;
    SqlStatement token(database, "SELECT token FROM store");
    if (token.step())
        project.token = token.text();
    if (project.token.empty())
        database.markDamaged("the token is missing");
    SqlStatement(database,
                 "INSERT OR IGNORE INTO project (path, save, next_number) VALUES (?, 0, 1)")
        .bind(projectPath)
        .step();
    SqlStatement select(database, "SELECT id, save, next_number FROM project WHERE path = ?");
    select.bind(projectPath);
    if (!select.step()) {
        database.markDamaged("the project is missing");
        return project;
    }
    row = select.integer();
    project.save = select.integer();
    project.nextNumber = select.integer();
    readItems(database, row, project.items);
    return project;
}

void inheritProject(SqlDatabase& database, const std::string& projectPath,
                    const std::function<bool(const std::string&)>& isGone,
                    ProjectIdentities& project) {
    const std::filesystem::path name = std::filesystem::path(projectPath).filename();
    std::int64_t row = 0;
    {
        SqlStatement select(database, "SELECT id, save, next_number, path FROM project"
                                      " WHERE save > 0 ORDER BY id DESC");
        while (row == 0 && select.step()) {
            const std::int64_t id = select.integer();
            const std::int64_t save = select.integer();
            const std::int64_t nextNumber = select.integer();
            const std::string path = select.text();
            if (std::filesystem::path(path).filename() != name || !isGone(path))
                continue;
            row = id;
            project.save = save;
            project.nextNumber = nextNumber;
        }
    }
    if (row != 0)
        readItems(database, row, project.items);
}

void writeProject(SqlDatabase& database, std::int64_t row, const ProjectIdentities& before,
                  const ProjectIdentities& now) {
    SqlStatement(database, "UPDATE project SET save = ?, next_number = ? WHERE id = ?")
        .bind(now.save)
        .bind(now.nextNumber)
        .bind(row)
        .step();
    std::unordered_map<std::int64_t, std::size_t> old;
    for (std::size_t i = 0; i < before.items.size(); ++i)
        old.emplace(before.items[i].number, i);
    SqlStatement replace(
        database, "REPLACE INTO item VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?,"
                  " ?, ?)");
    for (std::size_t i = 0; i < now.items.size(); ++i) {
        const auto found = old.find(now.items[i].number);
        if (found == old.end() || !isSameRow(before, found->second, now, i))
            writeRow(replace, row, now, i);
        if (found != old.end())
            old.erase(found);
    }
    SqlStatement remove(database, "DELETE FROM item WHERE project = ? AND number = ?");
    for (const auto& [number, place] : old)
        remove.bind(row).bind(number).step();
}

} // namespace cutstack::projecthost
