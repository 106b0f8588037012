#include "platform/base/watch.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "platform/base/strings.h"

namespace {

constexpr size_t kBlock = size_t{1} << 18;

Watch* g_current = nullptr;  // the one that main has made

bool IsPlainFileForWriting(int fd) {
    struct stat status {};
    const int flags = fcntl(fd, F_GETFL);
    return flags >= 0 && (flags & O_ACCMODE) == O_RDWR && fstat(fd, &status) == 0 && S_ISREG(status.st_mode);
}

}  // namespace

WatchRecord& WatchRecord::Number(uint64_t number) {
    for (; number >= 0x80; number >>= 7)
        m_bytes += static_cast<char>(number | 0x80);
    m_bytes += static_cast<char>(number);
    return *this;
}

WatchRecord& WatchRecord::Signed(int64_t number) {
    return Number((static_cast<uint64_t>(number) << 1) ^ static_cast<uint64_t>(number >> 63));
}

WatchRecord& WatchRecord::Fixed(uint64_t number) {
    m_bytes.append(reinterpret_cast<const char*>(&number), sizeof(number));
    return *this;
}

WatchRecord& WatchRecord::Text(std::string_view text) {
    Number(text.size());
    m_bytes += text;
    return *this;
}

Watch::Watch() {
    const char* const variable = secure_getenv("VG_UPGRADER_WATCH");
    if (!variable)
        return;
    std::vector<std::string> parts = SplitString(variable, '\n');
    parts.resize(4);
    const int fd = std::atoi(parts[0].c_str());
    if (fd <= STDERR_FILENO || !IsPlainFileForWriting(fd))
        return;
    fcntl(fd, F_SETFD, FD_CLOEXEC);
    m_fd = fd;
    m_wanted = {.rows = std::strtoull(parts[1].c_str(), nullptr, 10),
                .table = std::move(parts[2]),
                .id = std::move(parts[3])};
    g_current = this;
}

Watch::~Watch() {
    if (g_current == this)
        g_current = nullptr;
    Write(WatchRecord('Z'));
    (void)Flush();  // the reader misses the end
}

Watch* Watch::Current() { return g_current; }

void Watch::BeginStep(int step) {
    ++m_steps;
    Write(WatchRecord('P').Signed(step));
}

void Watch::EndStep(int result, double ms) {
    Write(WatchRecord('E').Signed(result).Number(static_cast<uint64_t>(std::max(0.0, ms * 1000))));
}

void Watch::Key(const std::string& file, const std::string& key, const std::optional<std::string>& value) {
    Write(WatchRecord('K').Text(file).Text(key).Number(value.has_value()).Text(value.value_or("")));
}

void Watch::Entry(int type, int item, const std::string& params) {
    Write(WatchRecord('L').Signed(type).Signed(item).Text(params));
}

void Watch::File(const std::string& path) {
    if (g_current)
        g_current->Write(WatchRecord('F').Text(path));
}

void Watch::Owner(const std::string& path, const struct stat& before, const struct stat& after) {
    WatchRecord record('O');
    record.Text(path);
    for (const struct stat* status : {&before, &after})
        record.Number(status->st_uid).Number(status->st_gid).Number(status->st_mode & 07777);
    Write(record);
}

void Watch::Undone(const std::string& database) { Write(WatchRecord('U').Text(database)); }

void Watch::Write(const WatchRecord& record) {
    if (m_fd < 0)
        return;
    m_buffer += record.Bytes();
    if (m_buffer.size() >= kBlock)
        (void)Flush();
}

// A stream that cannot be written (no room) has no end, which its reader sees; the upgrade goes on.
bool Watch::Flush() {
    for (size_t done = 0; m_fd >= 0 && done < m_buffer.size();) {
        const ssize_t written = pwrite(m_fd, m_buffer.data() + done, m_buffer.size() - done,
                                       static_cast<off_t>(m_flushed + done));
        if (written <= 0)
            m_fd = -1;
        else
            done += static_cast<size_t>(written);
    }
    m_flushed += m_buffer.size();
    m_buffer.clear();
    return m_fd >= 0;
}

void Watch::CutBackTo(uint64_t mark) {
    if (mark >= m_flushed) {
        m_buffer.resize(std::min<size_t>(m_buffer.size(), mark - m_flushed));
        return;
    }
    m_buffer.clear();
    m_flushed = mark;
    if (m_fd >= 0 && ftruncate(m_fd, static_cast<off_t>(mark)) != 0)
        m_fd = -1;
}

// --- reading ------------------------------------------------------------------------------------------------

bool WatchReader::Need(size_t bytes) {
    if (m_block.size() - m_next >= bytes)
        return true;
    m_block.erase(0, m_next);
    m_begin += m_next;
    m_next = 0;
    size_t have = m_block.size();
    m_block.resize(std::max(bytes, kBlock));
    for (ssize_t got = 1; got > 0 && have < m_block.size();
         have += static_cast<size_t>(std::max<ssize_t>(got, 0)))
        got = pread(m_fd, m_block.data() + have, m_block.size() - have, static_cast<off_t>(m_begin + have));
    m_block.resize(have);
    return have >= bytes;
}

void WatchReader::GoTo(uint64_t place) {
    if (place >= m_begin && place <= m_begin + m_block.size()) {
        m_next = static_cast<size_t>(place - m_begin);
        return;
    }
    m_block.clear();
    m_next = 0;
    m_begin = place;
}

char WatchReader::Next() { return Need(1) ? m_block[m_next++] : '\0'; }

uint64_t WatchReader::Number() {
    uint64_t number = 0;
    for (int shift = 0; shift < 64 && Need(1); shift += 7) {
        const auto byte = static_cast<unsigned char>(m_block[m_next++]);
        number |= static_cast<uint64_t>(byte & 0x7f) << shift;
        if (byte < 0x80)
            break;
    }
    return number;
}

int64_t WatchReader::Signed() {
    const uint64_t number = Number();
    return static_cast<int64_t>(number >> 1) ^ -static_cast<int64_t>(number & 1);
}

uint64_t WatchReader::Fixed() {
    uint64_t number = 0;
    if (Need(sizeof(number))) {
        std::memcpy(&number, m_block.data() + m_next, sizeof(number));
        m_next += sizeof(number);
    }
    return number;
}

std::string WatchReader::Text() {
    const uint64_t size = Number();
    if (size > (uint64_t{1} << 31) || !Need(size))
        return "";
    std::string text = m_block.substr(m_next, size);
    m_next += size;
    return text;
}
