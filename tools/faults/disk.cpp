#include "tools/faults/disk.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <fstream>
#include <set>
#include <utility>

#include "tools/faults/tree.h"

namespace fs = std::filesystem;

namespace {

constexpr size_t kLatest = 8;  // operations that may overtake all earlier ones
constexpr int64_t kSecond = 1'000'000'000;

// The pieces of the write that lie in one sector each are kept or lost by chance.
void Overwrite(std::string& content, size_t at, std::string_view data, size_t sector, uint64_t seed,
               double chance) {
    std::mt19937_64 random(seed);
    while (!data.empty()) {
        const size_t size = sector == 0 ? data.size() : std::min(data.size(), sector - at % sector);
        if (sector == 0 || std::uniform_real_distribution<>()(random) < chance) {
            content.resize(std::max(content.size(), at + size), '\0');
            content.replace(at, size, data.substr(0, size));
        }
        at += size;
        data.remove_prefix(size);
    }
}

}  // namespace

std::vector<TracedCall> ReadTrace(const fs::path& file) {
    std::vector<TracedCall> calls;
    const std::string bytes = ReadFile(file);
    for (size_t at = 0; at + sizeof(TraceHeader) <= bytes.size();) {
        TracedCall& call = calls.emplace_back();
        bytes.copy(reinterpret_cast<char*>(static_cast<TraceHeader*>(&call)), sizeof(TraceHeader), at);
        at += sizeof(TraceHeader);
        for (const auto& [text, size] : {std::pair(&call.name, call.nameSize),
                                         {&call.newName, call.newNameSize},
                                         {&call.data, call.dataSize},
                                         {&call.text, call.textSize}}) {
            *text = bytes.substr(at, size);
            at += size;
        }
    }
    return calls;
}

Disk::NodeId Disk::Scan(const fs::path& path) {
    struct stat status {};
    lstat(path.c_str(), &status);
    const auto [known, isNew] = m_nodeOfInode.try_emplace(status.st_ino, m_start.size());
    const NodeId id = known->second;
    if (!isNew)
        return id;  // another name of a file
    m_start.push_back({status.st_mode,
                       status.st_uid,
                       status.st_gid,
                       status.st_mtim.tv_sec * kSecond + status.st_mtim.tv_nsec,
                       {},
                       {}});
    if (S_ISREG(status.st_mode)) {
        m_start[id].content = ReadFile(path);
    } else if (S_ISLNK(status.st_mode)) {
        m_start[id].content = fs::read_symlink(path);
    } else if (S_ISDIR(status.st_mode)) {
        for (const fs::directory_entry& entry : fs::directory_iterator(path)) {
            const NodeId child = Scan(entry.path());
            m_start[id].names[entry.path().filename()] = child;
        }
    }
    return id;
}

void Disk::AddRun(std::vector<TracedCall> calls) {
    m_calls = std::move(calls);
    const auto nodeOf = [&](uint64_t inode) {
        const auto found = m_nodeOfInode.find(inode);
        return found == m_nodeOfInode.end() ? NodeId{0} : found->second;
    };
    for (const TracedCall& call : m_calls) {
        if (MakesInode(call.op) && !call.failed) {
            // The number may have been that of a file that is gone.
            m_nodeOfInode[call.inode] = m_start.size();
            m_start.push_back({static_cast<mode_t>(call.value),
                               getuid(),
                               getgid(),
                               call.time,
                               call.op == Op::Symlink ? call.data : "",
                               {}});
        }
        m_operations.push_back({call.failed ? Op::Other : call.op,
                                nodeOf(call.inode),
                                nodeOf(call.folder),
                                nodeOf(call.newFolder),
                                &call,
                                {}});
    }
    FindNeeds();
}

void Disk::FindNeeds() {
    using Name = std::pair<NodeId, std::string>;
    std::map<Name, size_t> lastOnName;
    std::map<NodeId, size_t> bringsFolder;               // the operation that made it
    std::map<NodeId, std::vector<size_t>> operationsIn;  // on its names
    std::map<Name, NodeId> nodeOfName;
    for (size_t id = 0; id < m_start.size(); ++id) {
        for (const auto& [name, child] : m_start[id].names)
            nodeOfName[{id, name}] = child;
    }
    for (size_t i = 0; i < m_operations.size(); ++i) {
        Operation& operation = m_operations[i];
        if (!IsOnNames(operation.op))
            continue;
        std::vector<Name> names = {{operation.folder, operation.call->name}};
        if (operation.op == Op::Rename)
            names.emplace_back(operation.newFolder, operation.call->newName);
        for (const Name& name : names) {
            if (const auto last = lastOnName.find(name); last != lastOnName.end())
                operation.needs.push_back(last->second);
            if (const auto made = bringsFolder.find(name.first); made != bringsFolder.end())
                operation.needs.push_back(made->second);
            lastOnName[name] = i;
            operationsIn[name.first].push_back(i);
        }
        if (operation.op == Op::MakeFolder)
            bringsFolder[operation.node] = i;
        if (operation.op == Op::RemoveFolder) {
            const std::vector<size_t>& inside = operationsIn[nodeOfName[names.front()]];
            operation.needs.insert(operation.needs.end(), inside.begin(), inside.end());
        }
        if (operation.op == Op::Rename)
            nodeOfName[names.back()] = nodeOfName[names.front()];
        else if (MakesInode(operation.op))
            nodeOfName[names.front()] = operation.node;
    }
}

// Which of the first `count` operations are on the disk for sure.
std::vector<bool> Disk::Certain(size_t count, bool journaled) const {
    std::vector<bool> certain(count, false);
    std::set<NodeId> flushed, dataFlushed;  // later on
    bool allFlushed = false, anyFlushed = false;
    for (size_t i = count; i-- > 0;) {
        const Operation& operation = m_operations[i];
        if (IsFlush(operation.op)) {
            anyFlushed = true;
            dataFlushed.insert(operation.node);
            if (operation.op == Op::Flush)
                flushed.insert(operation.node);
            allFlushed = allFlushed || operation.op == Op::FlushAll;
        }
        bool sure = certain[i] || allFlushed;
        if (IsOnNames(operation.op))
            sure = sure || (journaled && anyFlushed) || dataFlushed.contains(operation.folder) ||
                   (operation.op == Op::Rename && dataFlushed.contains(operation.newFolder));
        else if (operation.op == Op::Write || operation.op == Op::Truncate)
            sure = sure || dataFlushed.contains(operation.node);
        else
            sure = sure || flushed.contains(operation.node);
        certain[i] = sure;
        for (const size_t needed : operation.needs)
            certain[needed] = certain[needed] || sure;
    }
    return certain;
}

std::vector<Disk::Survival> Disk::Choose(size_t count, uint64_t seed, std::string& how) const {
    std::seed_seq seeds{seed, static_cast<uint64_t>(count)};
    std::mt19937_64 random(seeds);
    const auto below = [&](size_t limit) { return static_cast<size_t>(random() % limit); };
    const auto happens = [&](double chance) { return std::uniform_real_distribution<>()(random) < chance; };

    const bool journaled = seed != 0 && happens(0.5);
    const std::vector<bool> certain = Certain(count, journaled);
    std::vector<Survival> survivals(count);
    for (size_t i = 0; i < count; ++i)
        survivals[i].kept = certain[i];
    const auto hasNeeds = [&](size_t i) {
        return std::all_of(m_operations[i].needs.begin(), m_operations[i].needs.end(),
                           [&](size_t needed) { return survivals[needed].kept; });
    };
    const size_t sector = happens(0.5) ? 512 : 4096;
    how = journaled ? "names in one order, " : "names free of each other, ";
    const size_t kind = seed == 0 ? 0 : below(8);
    if (kind == 0) {
        how = "nothing beyond the flushed";
    } else if (kind == 1) {
        how += "everything";
        survivals.assign(count, {});
    } else if (kind == 2) {
        const size_t end = below(count + 1);
        how += "everything before call " + std::to_string(end + 1) + " and the flushed";
        std::fill_n(survivals.begin(), end, Survival{});
        if (end < count && !certain[end] && m_operations[end].op == Op::Write)
            survivals[end] = {true, sector, random(), 0.5};
    } else if (kind == 3 && !journaled) {
        const size_t begin = count - std::min(count, 1 + below(kLatest));
        how += "the flushed, and everything from call " + std::to_string(begin + 1) + " on";
        for (size_t i = begin; i < count; ++i)
            survivals[i].kept = certain[i] || hasNeeds(i);
    } else {
        const double chance = std::array{0.2, 0.5, 0.8}[below(3)];
        how +=
            std::to_string(static_cast<int>(chance * 100)) + " of 100, sectors of " + std::to_string(sector);
        const size_t namesEnd = below(count + 1);
        for (size_t i = 0; i < count; ++i) {
            if (certain[i])
                continue;
            if (IsOnNames(m_operations[i].op))
                survivals[i].kept = journaled ? i < namesEnd : happens(chance) && hasNeeds(i);
            else if (m_operations[i].op == Op::Write && happens(0.5))
                survivals[i] = {true, sector, random(), chance};
            else
                survivals[i].kept = happens(chance);
        }
    }
    return survivals;
}

void Disk::Apply(const Operation& operation, const Survival& survival, std::vector<Node>& nodes) const {
    const TracedCall& call = *operation.call;
    Node& node = nodes[operation.node];
    auto& names = nodes[operation.folder].names;
    const auto value = static_cast<uint64_t>(call.value);
    switch (operation.op) {
        case Op::Create:
        case Op::MakeFolder:
        case Op::Symlink:
        case Op::Link:
            names[call.name] = operation.node;
            break;
        case Op::Rename:
            if (const auto entry = names.find(call.name); entry != names.end()) {
                const NodeId moved = entry->second;
                names.erase(entry);
                nodes[operation.newFolder].names[call.newName] = moved;
            }
            break;
        case Op::Remove:
        case Op::RemoveFolder:
            names.erase(call.name);
            break;
        case Op::Write:
            node.time = call.time;
            Overwrite(node.content, value, call.data, survival.sector, survival.seed, survival.chance);
            break;
        case Op::Truncate:
            node.content.resize(value, '\0');
            node.time = call.time;
            break;
        case Op::SetTimes:
            node.time = call.time;
            break;
        case Op::SetMode:
            node.mode = (node.mode & S_IFMT) | static_cast<mode_t>(value & 07777);
            break;
        case Op::SetOwner:
            node.user = static_cast<uid_t>(value >> 32);
            node.group = static_cast<gid_t>(value);
            break;
        default:
            break;
    }
}

// Layers of folders from the root. A file with two names is laid out twice, which nothing here tells apart.
void Disk::Write(const std::vector<Survival>& survivals, const fs::path& to) const {
    std::vector<Node> nodes = m_start;
    for (size_t i = 0; i < survivals.size(); ++i) {
        if (survivals[i].kept)
            Apply(m_operations[i], survivals[i], nodes);
    }
    std::vector<std::pair<NodeId, fs::path>> folders = {{0, to}};
    fs::create_directories(to);
    while (!folders.empty()) {
        const auto [id, folder] = folders.back();
        folders.pop_back();
        for (const auto& [name, child] : nodes[id].names) {
            const Node& node = nodes[child];
            const fs::path path = folder / name;
            const timespec times[] = {{0, UTIME_OMIT}, {node.time / kSecond, node.time % kSecond}};
            if (S_ISDIR(node.mode)) {
                fs::create_directory(path);
                folders.emplace_back(child, path);
            } else if (S_ISLNK(node.mode)) {
                fs::create_symlink(node.content, path);
            } else {
                std::ofstream(path, std::ios::binary) << node.content;
            }
            if (lchown(path.c_str(), node.user, node.group) != 0 ||
                (!S_ISLNK(node.mode) && chmod(path.c_str(), node.mode & 07777) != 0) ||
                (S_ISREG(node.mode) && utimensat(AT_FDCWD, path.c_str(), times, 0) != 0))
                std::perror(path.c_str());
        }
    }
}

void Disk::WriteFinal(const fs::path& to) const { Write(std::vector<Survival>(m_operations.size()), to); }

std::string Disk::WriteAfterPowerCut(size_t calls, uint64_t seed, const fs::path& to) const {
    std::string how;
    const std::vector<Survival> survivals = Choose(calls, seed, how);
    Write(survivals, to);
    return how;
}
