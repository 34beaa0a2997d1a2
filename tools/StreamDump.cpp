#include "tools/StreamDump.h"

#include <cstdint>
#include <cstring>
#include <sstream>

#include "import/db/Database.h"

namespace nox::tools {
namespace {

template <typename T>
T Get(const std::string& bytes, size_t at) {
  T v;
  std::memcpy(&v, bytes.data() + at, sizeof v);
  return v;
}

std::string Hex(const std::string& bytes, size_t limit) {
  static const char* digits = "0123456789abcdef";
  std::string out;
  for (size_t i = 0; i < bytes.size() && i < limit; ++i) {
    if (i) out.push_back(' ');
    out.push_back(digits[static_cast<unsigned char>(bytes[i]) >> 4]);
    out.push_back(digits[static_cast<unsigned char>(bytes[i]) & 15]);
  }
  if (bytes.size() > limit) out += " ...";
  return out;
}

bool Printable(const std::string& s) {
  for (unsigned char c : s) {
    if (c < 0x20 && c != '\t') return false;
  }
  return true;
}

}  // namespace

std::string DescribeValue(const std::string& b) {
  std::ostringstream out;
  const size_t n = b.size();
  if (n >= 4 && Get<uint32_t>(b, 0) == n - 4 && Printable(b.substr(4))) {
    out << '"' << b.substr(4) << '"';
  } else if (n >= 4 && size_t{Get<uint16_t>(b, 0)} * Get<uint16_t>(b, 2) * 3 + 4 == n) {
    out << "bitmap " << Get<uint16_t>(b, 0) << "x" << Get<uint16_t>(b, 2);
  } else if (n == 1) {
    out << "u8 " << int(static_cast<unsigned char>(b[0]));
  } else if (n == 2) {
    out << "i16 " << Get<int16_t>(b, 0);
  } else if (n == 4) {
    out << "i32 " << Get<int32_t>(b, 0);
  } else if (n == 8) {
    out << "i32 " << Get<int32_t>(b, 0) << ", " << Get<int32_t>(b, 4) << " | i64 " << Get<int64_t>(b, 0)
        << " | f64 " << Get<double>(b, 0);
  } else if (n == 16) {
    out << "i64 " << Get<int64_t>(b, 0) << ", " << Get<int64_t>(b, 8);
  } else {
    out << n << " bytes: " << Hex(b, 16);
  }
  return out.str();
}

void DumpUnit(CNDBFile& file, std::ostream& out) {
  int depth = 1;
  auto indent = [&] { return std::string(2 * static_cast<size_t>(depth), ' '); };
  while (!file.IsEOU()) {
    const TOK::FileToken token = file.ReadNextTokenEx();
    if (token == TOK::None) break;
    if (token == TOK::Binary) {
      const unsigned int size = file.GetBinarySize();
      std::string head(std::min(size, 16u), '\0');
      file.Read(reinterpret_cast<unsigned char*>(head.data()), static_cast<int>(head.size()));
      out << indent() << "binary " << size << " bytes: " << Hex(head, 16) << (size > 16 ? " ..." : "")
          << '\n';
      continue;
    }
    const bool closing = token > 32768;
    if (closing && depth > 1) --depth;
    out << indent() << token << '\n';
    if (closing) continue;
    ++depth;
    std::string value;
    unsigned char byte;
    while (file.GetNextToken() == 0 && !file.IsEOU() && file.Read(&byte, 1) == 1) {
      value.push_back(static_cast<char>(byte));
    }
    if (!value.empty()) out << indent() << DescribeValue(value) << '\n';
  }
}

}  // namespace nox::tools
