// What an upgrade tells of its work while a rehearsal watches it: a stream of facts, in a file that the rehearsal has
// opened and handed down. An upgrade that nobody watches pays nothing for it.
//
// The file is written once, from its beginning. What turns out not to have happened (a text of statements that failed)
// is cut off again, so that whoever reads the stream needs to undo nothing but whole databases.
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// One fact, as bytes: a letter for its kind, then its parts.
class WatchRecord {
public:
    explicit WatchRecord(char kind) : m_bytes(1, kind) {}
    WatchRecord& Number(uint64_t number);  // short when it is small
    WatchRecord& Signed(int64_t number);
    WatchRecord& Fixed(uint64_t number);  // eight bytes
    WatchRecord& Text(std::string_view text);
    const std::string& Bytes() const { return m_bytes; }

private:
    std::string m_bytes;
};

class Watch {
public:
    // What is told in full. Of other rows the stream tells only that they have changed.
    struct Wanted {
        uint64_t rows = 0;  // so many of a table, migration and kind of change; 0: all
        std::string table;  // '': of all tables
        std::string id;     // '': all rows of the table; else the one whose key begins with it
    };
    // Steps of an upgrade that are no migrations; a migration has its number.
    enum Step : int { Owed = -3, SchemaRepair = -2, Delivery = -1 };
    // P begins a step; E ends it; T describes a table; w a row, W one in full; K a key; L an entry; F a file; O an owner;
    // U undoes all of a database so far; Z: the upgrade has come to its end.

    // Made by main, from the environment: VG_UPGRADER_WATCH holds a descriptor and what is Wanted, a line each. A
    // setuid process ignores it; nothing is written but to a plain file that was inherited for writing.
    Watch();
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;
    ~Watch();

    static Watch* Current();  // null: nobody watches
    const Wanted& What() const { return m_wanted; }

    void BeginStep(int step);
    int StepsBegun() const { return m_steps; }
    void EndStep(int result, double ms);
    void Key(const std::string& file, const std::string& key, const std::optional<std::string>& value);
    void Entry(int type, int item, const std::string& params);
    static void File(const std::string& path);  // made, moved from or to, or removed, with all below it
    void Owner(const std::string& path, const struct stat& before, const struct stat& after);
    void Undone(const std::string& database);

    void Write(const WatchRecord& record);

    // The place in the stream; and cuts off what was written since.
    uint64_t Mark() const { return m_flushed + m_buffer.size(); }
    void CutBackTo(uint64_t mark);

private:
    bool Flush();

    int m_fd = -1;
    Wanted m_wanted;
    std::string m_buffer;
    uint64_t m_flushed = 0;
    int m_steps = 0;
};

// Reads such a stream.
class WatchReader {
public:
    explicit WatchReader(int fd) : m_fd(fd) {}

    // The kind of the next fact, whose parts are then read in their order; 0 at the end, or where the stream is cut short.
    char Next();
    uint64_t Number();
    int64_t Signed();
    uint64_t Fixed();
    std::string Text();

    uint64_t At() const { return m_begin + m_next; }
    void GoTo(uint64_t place);

private:
    bool Need(size_t bytes);

    int m_fd;
    std::string m_block;
    uint64_t m_begin = 0;  // the place of the block
    size_t m_next = 0;     // in it
};
