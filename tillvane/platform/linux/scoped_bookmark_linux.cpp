#include <tillvane/platform/linux/scoped_bookmark_linux.h>

#include <climits>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>

namespace platform {

namespace {

constexpr std::string_view kMark = "LBMK";
constexpr unsigned char kVersion = 1;
constexpr unsigned char kHasBirth = 1;
constexpr std::size_t kMostOfText = PATH_MAX - 1;

/// FNV-1a: bytes that were damaged or cut are told from good ones; nobody is kept from making some.
std::uint32_t Checksum(const unsigned char* bytes, std::size_t count) {
  std::uint32_t sum = 2166136261u;
  for (std::size_t i = 0; i < count; ++i) sum = (sum ^ bytes[i]) * 16777619u;
  return sum;
}

class Writer {
 public:
  template <class T>
  void Number(T value) {
    for (std::size_t i = 0; i < sizeof value; ++i) {
      bytes_.push_back(static_cast<unsigned char>(static_cast<std::uint64_t>(value) >> (8 * i)));
    }
  }
  void Raw(std::string_view text) { bytes_.insert(bytes_.end(), text.begin(), text.end()); }
  void Text(std::string_view text) {
    Number(static_cast<std::uint16_t>(text.size()));
    Raw(text);
  }
  std::vector<unsigned char> Finish() {
    Number(Checksum(bytes_.data(), bytes_.size()));
    return std::move(bytes_);
  }

 private:
  std::vector<unsigned char> bytes_;
};

/// Reads what is there; once there is too little, nothing any more.
class Reader {
 public:
  Reader(const unsigned char* bytes, std::size_t count) : rest_(reinterpret_cast<const char*>(bytes), count) {}

  template <class T>
  void Number(T* value) {
    const std::string_view bytes = Raw(sizeof *value);
    std::uint64_t number = 0;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
      number |= static_cast<std::uint64_t>(static_cast<unsigned char>(bytes[i])) << (8 * i);
    }
    *value = static_cast<T>(number);
  }
  std::string_view Raw(std::size_t count) {
    is_good_ = is_good_ && count <= rest_.size();
    if (!is_good_) return {};
    const std::string_view bytes = rest_.substr(0, count);
    rest_.remove_prefix(count);
    return bytes;
  }
  void Text(std::string* text) {
    std::uint16_t size = 0;
    Number(&size);
    *text = Raw(size);
  }
  bool IsAtEnd() const { return is_good_ && rest_.empty(); }

 private:
  std::string_view rest_;
  bool is_good_ = true;
};

void WriteIdentity(const FileIdentity& identity, Writer* writer) {
  writer->Number(identity.has_birth ? kHasBirth : static_cast<unsigned char>(0));
  writer->Number(identity.device_major);
  writer->Number(identity.device_minor);
  writer->Number(identity.inode);
  writer->Number(identity.birth_seconds);
  writer->Number(identity.birth_nanoseconds);
}

/// \return whether the flags are known ones
bool ReadIdentity(Reader* reader, FileIdentity* identity) {
  unsigned char flags = 0;
  reader->Number(&flags);
  identity->has_birth = flags == kHasBirth;
  reader->Number(&identity->device_major);
  reader->Number(&identity->device_minor);
  reader->Number(&identity->inode);
  reader->Number(&identity->birth_seconds);
  reader->Number(&identity->birth_nanoseconds);
  return flags <= kHasBirth;
}

bool IsGood(const BookmarkRecord& record) {
  const PortalDocument& document = record.document;
  for (const std::string* const text : {&record.path, &document.id, &document.rest}) {
    if (text->size() > kMostOfText || text->find('\0') != std::string::npos) return false;
  }
  const bool is_whole =
      document.id.empty() ? document.rest.empty() : IsDocumentID(document.id) && !document.rest.empty();
  return is_whole && record.path.starts_with('/');
}

}  // namespace

std::optional<std::vector<unsigned char>> EncodeBookmark(const BookmarkRecord& record) {
  if (!IsGood(record)) return std::nullopt;
  Writer writer;
  writer.Raw(kMark);
  writer.Number(kVersion);
  WriteIdentity(record.identity, &writer);
  for (const std::string& text : {record.path, record.document.id, record.document.rest}) writer.Text(text);
  return writer.Finish();
}

std::optional<BookmarkRecord> DecodeBookmark(const std::vector<unsigned char>& bytes) {
  std::uint32_t sum = 0;
  if (bytes.size() < sizeof sum) return std::nullopt;
  const std::size_t size = bytes.size() - sizeof sum;
  Reader(bytes.data() + size, sizeof sum).Number(&sum);
  Reader reader(bytes.data(), size);
  BookmarkRecord record;
  unsigned char version = 0;
  if (reader.Raw(kMark.size()) != kMark) return std::nullopt;
  reader.Number(&version);
  if (version != kVersion || !ReadIdentity(&reader, &record.identity)) return std::nullopt;
  for (std::string* const text : {&record.path, &record.document.id, &record.document.rest}) reader.Text(text);
  const bool is_whole = reader.IsAtEnd() && sum == Checksum(bytes.data(), size);
  return is_whole && IsGood(record) ? std::optional(std::move(record)) : std::nullopt;
}

}  // namespace platform
