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

#include "tools/faults/tree_image.h"

namespace fs = std::filesystem;

namespace {

bool IsOnNames(Op op) {
    switch (op) {
        case Op::Create:
        case Op::MakeFolder:
        case Op::Symlink:
        case Op::Link:
        case Op::Rename:
        case Op::Remove:
        case Op::RemoveFolder:
            return true;
        default:
            return false;
    }
}

bool IsFlush(Op op) { return op == Op::Flush || op == Op::FlushData || op == Op::FlushAll; }

bool MakesInode(Op op) { return op == Op::Create || op == Op::MakeFolder || op == Op::Symlink; }

constexpr size_t kLatest = 8;  // operations that may overtake all earlier ones

constexpr int64_t kSecond = 1'000'000'000;

int64_t ToNanoseconds(const timespec& time) { return time.tv_sec * kSecond + time.tv_nsec; }

void SetTime(const fs::path& path, int64_t time) {
    const timespec times[] = {{0, UTIME_OMIT}, {time / kSecond, time % kSecond}};
    if (utimensat(AT_FDCWD, path.c_str(), times, 0) != 0)
        std::perror(path.c_str());
}

std::string Take(const std::string& bytes, size_t& at, size_t size) {
    std::string part = bytes.substr(at, size);
    at += size;
    return part;
}

}  // namespace

std::vector<TracedCall> ReadTrace(const fs::path& file) {
    std::vector<TracedCall> calls;
    const std::string bytes = ReadFile(file);
    for (size_t at = 0; at + sizeof(TraceHeader) <= bytes.size();) {
        TraceHeader header;
        bytes.copy(reinterpret_cast<char*>(&header), sizeof header, at);
        at += sizeof header;
        TracedCall& call = calls.emplace_back();
        call.op = header.op;
        call.failed = header.failed != 0;
        call.inode = header.inode;
        call.folder = header.folder;
        call.newFolder = header.newFolder;
        call.value = header.value;
        call.time = header.time;
        call.name = Take(bytes, at, header.nameSize);
        call.newName = Take(bytes, at, header.newNameSize);
        call.data = Take(bytes, at, header.dataSize);
        call.text = Take(bytes, at, header.textSize);
    }
    return calls;
}

Disk::Disk(const fs::path& tree) { Scan(tree); }

Disk::NodeId Disk::Scan(const fs::path& path) {
    struct stat status {};
    lstat(path.c_str(), &status);
    const auto [known, isNew] = m_nodeOfInode.try_emplace(status.st_ino, m_start.size());
    const NodeId id = known->second;
    if (!isNew)
        return id;  // another name of a file
    m_start.push_back({status.st_mode, status.st_uid, status.st_gid, ToNanoseconds(status.st_mtim), {}, {}});
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
        const Op op = call.failed ? Op::Other : call.op;
        m_operations.push_back(
            {op, nodeOf(call.inode), nodeOf(call.folder), nodeOf(call.newFolder), &call, {}});
    }
    FindNeeds();
}

void Disk::FindNeeds() {
    std::map<std::pair<NodeId, std::string>, size_t> lastOnName;
    std::map<NodeId, size_t> bringsFolder;               // the operation that made it
    std::map<NodeId, std::vector<size_t>> operationsIn;  // on its names
    std::map<std::pair<NodeId, std::string>, NodeId> nodeOfName;
    for (size_t id = 0; id < m_start.size(); ++id) {
        for (const auto& [name, child] : m_start[id].names)
            nodeOfName[{id, name}] = child;
    }
    for (size_t i = 0; i < m_operations.size(); ++i) {
        Operation& operation = m_operations[i];
        if (!IsOnNames(operation.op))
            continue;
        const TracedCall& call = *operation.call;
        std::vector<std::pair<NodeId, std::string>> names = {{operation.folder, call.name}};
        if (operation.op == Op::Rename)
            names.emplace_back(operation.newFolder, call.newName);
        for (const auto& name : names) {
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
    std::set<NodeId> flushed;      // later on
    std::set<NodeId> dataFlushed;  // later on
    bool allFlushed = false;
    bool anyFlushed = false;
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
        if (sure) {
            for (const size_t needed : operation.needs)
                certain[needed] = true;
        }
    }
    return certain;
}

std::vector<Disk::Survival> Disk::Flushed(size_t count, bool journaled) const {
    std::vector<Survival> survivals;
    for (const bool kept : Certain(count, journaled))
        survivals.push_back({.kept = kept});
    return survivals;
}

std::vector<Disk::Survival> Disk::Choose(size_t count, std::mt19937_64& random, std::string& how) const {
    const auto below = [&](size_t limit) { return static_cast<size_t>(random() % limit); };
    const auto happens = [&](double chance) { return std::uniform_real_distribution<>()(random) < chance; };

    std::vector<Survival> survivals(count);
    const auto hasNeeds = [&](size_t i) {
        return std::all_of(m_operations[i].needs.begin(), m_operations[i].needs.end(),
                           [&](size_t needed) { return survivals[needed].kept; });
    };
    const bool journaled = happens(0.5);
    const std::vector<bool> certain = Certain(count, journaled);
    const size_t sector = happens(0.5) ? 512 : 4096;
    how = journaled ? "names in one order, " : "names free of each other, ";

    const size_t kind = below(8);
    if (kind == 0) {
        how += "nothing beyond the flushed";
        return Flushed(count, journaled);
    }
    if (kind == 1) {
        how += "everything";
        return survivals;
    }
    if (kind == 2) {
        const size_t end = below(count + 1);
        how += "everything before call " + std::to_string(end + 1) + " and the flushed";
        for (size_t i = end; i < count; ++i)
            survivals[i].kept = certain[i];
        if (end < count && !certain[end] && m_operations[end].op == Op::Write)
            survivals[end] = {true, sector, random(), 0.5};
        return survivals;
    }
    if (kind == 3 && !journaled) {
        const size_t begin = count - std::min(count, 1 + below(kLatest));
        how += "the flushed, and everything from call " + std::to_string(begin + 1) + " on";
        for (size_t i = 0; i < count; ++i)
            survivals[i].kept = certain[i] || (i >= begin && hasNeeds(i));
        return survivals;
    }
    const double chance = std::array{0.2, 0.5, 0.8}[below(3)];
    how += std::to_string(static_cast<int>(chance * 100)) + " of 100, sectors of " + std::to_string(sector);
    const size_t namesEnd = journaled ? below(count + 1) : count;
    for (size_t i = 0; i < count; ++i) {
        if (certain[i])
            continue;
        const Operation& operation = m_operations[i];
        Survival& survival = survivals[i];
        if (!IsOnNames(operation.op)) {
            survival.kept = happens(chance);
            if (operation.op == Op::Write && happens(0.5))
                survival = {true, sector, random(), chance};
        } else if (journaled) {
            survival.kept = i < namesEnd;
        } else {
            survival.kept = happens(chance) && hasNeeds(i);
        }
    }
    return survivals;
}

namespace {

void Overwrite(std::string& content, size_t at, std::string_view data) {
    if (content.size() < at + data.size())
        content.resize(at + data.size(), '\0');
    content.replace(at, data.size(), data);
}

// The pieces of the write that lie in one sector each, kept or lost by chance.
void OverwriteSectors(std::string& content, size_t at, std::string_view data, size_t sector, uint64_t seed,
                      double chance) {
    std::mt19937_64 random(seed);
    while (!data.empty()) {
        const size_t size = std::min(data.size(), sector - at % sector);
        if (std::uniform_real_distribution<>()(random) < chance)
            Overwrite(content, at, data.substr(0, size));
        at += size;
        data.remove_prefix(size);
    }
}

}  // namespace

void Disk::Write(const std::vector<Survival>& survivals, const fs::path& to) const {
    std::vector<Node> nodes = m_start;
    for (size_t i = 0; i < survivals.size(); ++i) {
        const Survival& survival = survivals[i];
        if (!survival.kept)
            continue;
        const Operation& operation = m_operations[i];
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
                if (survival.sector == 0)
                    Overwrite(node.content, value, call.data);
                else
                    OverwriteSectors(node.content, value, call.data, survival.sector, survival.seed,
                                     survival.chance);
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
            case Op::Flush:
            case Op::FlushData:
            case Op::FlushAll:
            case Op::Other:
            case Op::Open:
            case Op::Read:
            case Op::Look:
            case Op::Message:
                break;
        }
    }

    // Layers of folders from the root. A file with two names is laid out twice, which nothing here tells
    // apart.
    std::vector<std::pair<NodeId, fs::path>> folders = {{0, to}};
    fs::create_directories(to);
    while (!folders.empty()) {
        const auto [id, folder] = folders.back();
        folders.pop_back();
        for (const auto& [name, child] : nodes[id].names) {
            const Node& node = nodes[child];
            const fs::path path = folder / name;
            if (S_ISDIR(node.mode)) {
                fs::create_directory(path);
                folders.emplace_back(child, path);
            } else if (S_ISLNK(node.mode)) {
                fs::create_symlink(node.content, path);
            } else {
                std::ofstream(path, std::ios::binary) << node.content;
                SetTime(path, node.time);
            }
            if (lchown(path.c_str(), node.user, node.group) != 0 ||
                (!S_ISLNK(node.mode) && chmod(path.c_str(), node.mode & 07777) != 0))
                std::perror(path.c_str());
        }
    }
}

void Disk::WriteFinal(const fs::path& to) const { Write(std::vector<Survival>(m_operations.size()), to); }

std::string Disk::WriteAfterPowerCut(size_t calls, uint64_t seed, const fs::path& to) const {
    if (seed == 0) {
        Write(Flushed(calls, false), to);
        return "nothing beyond the flushed";
    }
    std::seed_seq seeds{seed, static_cast<uint64_t>(calls)};
    std::mt19937_64 random(seeds);
    std::string how;
    const std::vector<Survival> survivals = Choose(calls, random, how);
    Write(survivals, to);
    return how;
}
