#include "platform/coding/CBORToken.h"

#include <cbor.h>

#include <limits>

namespace ox::cbor {

namespace {

template <TokenKind kind>
void takeKind(void* token) {
  static_cast<Token*>(token)->kind = kind;
}

template <TokenKind kind, typename Number>
void takeNumber(void* token, Number number) {
  static_cast<Token*>(token)->kind = kind;
  static_cast<Token*>(token)->number = number;
}

template <typename Real>
void takeReal(void* token, Real real) {
  takeNumber<TokenKind::floatingPoint>(token, std::bit_cast<std::uint64_t>(double{real}));
}

constexpr cbor_callbacks callbacks = {
    .uint8 = takeNumber<TokenKind::unsignedInteger>,
    .uint16 = takeNumber<TokenKind::unsignedInteger>,
    .uint32 = takeNumber<TokenKind::unsignedInteger>,
    .uint64 = takeNumber<TokenKind::unsignedInteger>,
    .negint64 = takeNumber<TokenKind::negativeInteger>,
    .negint32 = takeNumber<TokenKind::negativeInteger>,
    .negint16 = takeNumber<TokenKind::negativeInteger>,
    .negint8 = takeNumber<TokenKind::negativeInteger>,
    .byte_string_start = takeKind<TokenKind::chunkedByteString>,
    // Whole strings are read in place, so these two are never called.
    .byte_string = cbor_null_byte_string_callback,
    .string = cbor_null_string_callback,
    .string_start = takeKind<TokenKind::chunkedTextString>,
    .indef_array_start = takeKind<TokenKind::indefiniteArray>,
    .array_start = takeNumber<TokenKind::array>,
    .indef_map_start = takeKind<TokenKind::indefiniteMap>,
    .map_start = takeNumber<TokenKind::map>,
    .tag = takeNumber<TokenKind::tag>,
    .float2 = takeReal<float>,
    .float4 = takeReal<float>,
    .float8 = takeReal<double>,
    .undefined = takeKind<TokenKind::otherSimple>,
    .null = takeKind<TokenKind::null>,
    .boolean = takeNumber<TokenKind::boolean>,
    .indef_break = takeKind<TokenKind::breakCode>,
};

void setIncomplete(Token& token, std::size_t size) noexcept {
  token.kind = TokenKind::incomplete;
  token.size = size;
}

std::uint64_t argumentOf(std::span<const std::byte> head) noexcept {
  std::uint64_t argument = 0;
  for (const std::byte byte : head.subspan(1)) {
    argument = argument << 8 | std::to_integer<std::uint64_t>(byte);
  }
  return argument;
}

// Not left to the library, which cuts lengths to a word, adds to them without a look at the
// overflow, and takes simple values for an error.
void readHere(std::span<const std::byte> bytes, Token& token) noexcept {
  const auto first = std::to_integer<unsigned>(bytes[0]);
  const std::size_t headSize = first == 0xF8 ? 2 : (first & 0x1F) == 0x1A ? 5 : 9;
  if (bytes.size() < headSize) {
    setIncomplete(token, headSize);
    return;
  }
  token.number = argumentOf(bytes.first(headSize));
  token.size = headSize;
  if (first == 0xF8) {
    // Those below 32 have a form of one byte, or none.
    token.kind = token.number < 32 ? TokenKind::malformed : TokenKind::otherSimple;
    return;
  }
  if (first >= 0x80) {
    token.kind = first < 0xA0 ? TokenKind::array : TokenKind::map;
    return;
  }
  // A string that is cut short.
  constexpr std::size_t most = std::numeric_limits<std::size_t>::max();
  setIncomplete(token, token.number > most - headSize
                           ? most
                           : headSize + static_cast<std::size_t>(token.number));
}

}  // namespace

// The callbacks write into the token that is given back, field by field: copying it right after
// such writes would take longer than reading it.
Token readLongToken(std::span<const std::byte> bytes) noexcept {
  Token token{.kind = TokenKind::malformed, .number = 0, .bytes = nullptr, .size = 0};
  if (bytes.empty()) {
    setIncomplete(token, 1);
    return token;
  }
  switch (std::to_integer<unsigned>(bytes[0])) {
    case 0x5A:
    case 0x5B:
    case 0x7A:
    case 0x7B:
    case 0x9B:
    case 0xBB:
    case 0xF8:
      readHere(bytes, token);
      return token;
    default:
      break;
  }
  const cbor_decoder_result result = cbor_stream_decode(reinterpret_cast<cbor_data>(bytes.data()),
                                                        bytes.size(), &callbacks, &token);
  token.size = result.read;
  if (result.status == CBOR_DECODER_NEDATA) {
    setIncomplete(token, result.required);
  }
  return token;
}

}  // namespace ox::cbor
