// Request measurement and framing, and the taking back of answers.
#include "channel/framing.h"

#include <cstring>

namespace tavrel {

namespace {

constexpr size_t CONNECT_STRING_MAX = 269;

// A statement text is sent up to and including its last ";".
bool measure_statement(const void* buffer, RequestPart* part) {
  const char* text = static_cast<const char*>(buffer);
  const size_t length = std::strlen(text);
  for (size_t i = length; i > 0; --i) {
    if (text[i - 1] == ';') {
      *part = {reinterpret_cast<const uint8_t*>(text), i};
      return true;
    }
  }
  return false;
}

RequestPart string_part(const void* buffer, size_t max) {
  const char* text = static_cast<const char*>(buffer);
  const size_t length = strnlen(text, max);
  return {reinterpret_cast<const uint8_t*>(text), length};
}

void fill_codepage(const void* buffer3, const CodePageBlock& defaults, CodePageBlock* out) {
  *out = defaults;
  const char* name = static_cast<const char*>(buffer3);
  if (name != nullptr && name[0] != 0) {
    std::memset(out, 0, sizeof *out);
    out->present = 1;
    const size_t length = strnlen(name, CODEPAGE_NAME_MAX);
    std::memcpy(out->name, name, length);
    out->length = static_cast<uint16_t>(length);
  }
}

}  // namespace

uint32_t request_measure(RequestBlock* block, const CommandRow& row, const void* buffer1,
                         const void* buffer2, const void* buffer3, const void* answer,
                         const CodePageBlock& defaults, CodePageBlock* codepage, RequestParts* parts) {
  *parts = {};
  const auto* answer_bytes = static_cast<const uint8_t*>(answer);
  bool with_codepage = (row.properties & COMMAND_CODEPAGE) != 0;
  switch (row.layout) {
    case 1:
      if (answer == nullptr && block->answer_length != 0) return CHANNEL_MISSING_BUFFER;
      parts->part[3] = {answer_bytes, answer == nullptr ? 0 : size_t{block->answer_length}};
      [[fallthrough]];
    case 0: {
      const void* texts[3] = {buffer1, buffer2, buffer3};
      for (int i = 0; i < 3; ++i) {
        if (texts[i] == nullptr) return CHANNEL_MISSING_BUFFER;
        if (!measure_statement(texts[i], &parts->part[i])) return CHANNEL_NO_SEMICOLON_1 + static_cast<uint32_t>(i);
      }
      with_codepage = false;
      break;
    }
    case 2: {
      size_t length;
      switch (row.answer_kind) {
        case 3:
          if (buffer1 == nullptr) return CHANNEL_MISSING_BUFFER;
          length = strnlen(static_cast<const char*>(buffer1), CODEPAGE_NAME_MAX);
          break;
        case 4: length = block->answer_length; break;
        case 5: length = buffer1 != nullptr ? 68 : 0; break;
        case 6: length = block->argument; break;
        default: length = 70; break;
      }
      if (length > 0xFFFF) length = 0xFFFF;
      if (buffer1 == nullptr && length != 0) return CHANNEL_MISSING_BUFFER;
      parts->part[0] = {static_cast<const uint8_t*>(buffer1), length};
      break;
    }
    case 3:
      if (buffer2 == nullptr) return CHANNEL_MISSING_BUFFER;
      if (!measure_statement(buffer2, &parts->part[1])) return CHANNEL_NO_SEMICOLON_2;
      break;
    case 4: break;
    case 5:
      if (buffer1 == nullptr) return CHANNEL_MISSING_BUFFER;
      parts->part[0] = string_part(buffer1, CONNECT_STRING_MAX);
      if (!command_is(block->command, "KILL")) block->channel = 0;
      with_codepage = true;
      break;
    case 6:
      if (answer == nullptr && block->answer_length != 0) return CHANNEL_MISSING_BUFFER;
      parts->part[3] = {answer_bytes, answer == nullptr ? 0 : size_t{block->answer_length}};
      break;
    case 7: {
      if (buffer2 == nullptr) return CHANNEL_MISSING_BUFFER;
      const auto* counted = static_cast<const uint8_t*>(buffer2);
      parts->part[1] = {counted + 2, get_u16(counted)};
      break;
    }
    case 8: {
      if (buffer1 != nullptr) parts->part[0] = string_part(buffer1, 0xFFFF);
      if (answer == nullptr) {
        if (block->answer_length != 0) return CHANNEL_MISSING_BUFFER;
        break;
      }
      // The answer buffer goes without its trailing zero bytes, rounded up to even but never
      // beyond the capacity.
      size_t length = block->answer_length;
      while (length > 0 && answer_bytes[length - 1] == 0) --length;
      length += length & 1;
      if (length > block->answer_length) length = block->answer_length;
      parts->part[3] = {answer_bytes, length};
      break;
    }
    default: return CHANNEL_UNKNOWN_COMMAND;
  }
  if (with_codepage) {
    fill_codepage(buffer3, defaults, codepage);
    parts->part[2] = {reinterpret_cast<const uint8_t*>(codepage), sizeof(CodePageBlock)};
  }
  return 0;
}

size_t request_data_length(const RequestParts& parts) {
  size_t total = 8;
  for (const RequestPart& p : parts.part) total += p.length + (p.length & 1u);
  return total;
}

void request_write_data(const RequestParts& parts, uint8_t* out) {
  for (const RequestPart& p : parts.part) {
    const size_t padded = p.length + (p.length & 1u);
    put_u16(out, static_cast<uint32_t>(padded));
    if (p.length != 0) std::memcpy(out + 2, p.data, p.length);
    if (padded != p.length) out[2 + p.length] = ' ';
    out += 2 + padded;
  }
}

void request_prepare_flags(RequestBlock* block) {
  block->flags = (block->flags & REQUEST_FLAG_MASK) | REQUEST_SENT;
  if (!command_is(block->command, "RPAG") && !command_is(block->command, "WPAG")) {
    block->flags &= ~REQUEST_PAGE_ACCESS;
  }
}

uint32_t answer_take(const uint8_t* message, size_t length, RequestBlock* block, int row,
                     void* answer, void* buffer3) {
  if (length < ANSWER_HEADER + FRAME_TRAILER) {
    block->return_code = CHANNEL_EXCHANGE_FAILED;
    return block->return_code;
  }
  const size_t available = length - ANSWER_HEADER - FRAME_TRAILER;
  const CommandRow& command = COMMAND_TABLE[row];
  const uint16_t capacity = block->answer_length;
  block->return_code = get_u32(message + 4);
  block->answer_word = get_u16(message + 8);
  block->position = get_u32(message + 28);
  block->argument = get_u32(message + 32);
  block->system_code = get_u32(message + 40);
  const uint16_t answer_length = get_u16(message + 44);
  const uint32_t code = block->return_code;

  if (code == CHANNEL_ANSWER_TOO_LONG) {
    block->answer_length = answer_length;
    if ((command.properties & COMMAND_FETCH) != 0 && capacity >= answer_length) {
      block->flags |= REQUEST_FETCH_REST;
    }
    return code;
  }
  if (!(static_cast<int32_t>(code) <= 1 || code == 135 || code == 7201)) return code;

  if (command_is(command.code, "OPEN") || command_is(command.code, "OCUR")) {
    block->channel = get_u16(message + 10);
  } else if (command_is(command.code, "CLOS")) {
    block->channel = 0;
  }
  if (command.answer_kind == ANSWER_NONE) return code;
  if (answer == nullptr && (block->flags & REQUEST_ANSWER_WANTED) == 0) return code;
  if (answer_length == 0) {
    block->answer_length = 0;
    return code;
  }
  const size_t total = get_u16(message + ANSWER_TOTAL_OFFSET);
  if (answer_length > available || total > available) {
    block->return_code = CHANNEL_EXCHANGE_FAILED;
    return block->return_code;
  }
  if (answer_length > capacity) {
    block->return_code = CHANNEL_ANSWER_TOO_LONG;
    block->answer_length = answer_length;
    return block->return_code;
  }
  if (answer != nullptr) std::memcpy(answer, message + ANSWER_HEADER, answer_length);
  block->answer_length = answer_length;
  // The second block lies behind the answer, which is padded to even length.
  if (command.answer_kind != ANSWER_DATA_ONLY && total > answer_length + 1u && buffer3 != nullptr) {
    const size_t start = answer_length + (answer_length & 1u);
    if (start + 4 <= total) {
      const uint8_t* second = message + ANSWER_HEADER + start;
      const size_t size = size_t{get_u16(second)} * get_u16(second + 2) + 4;
      if (start + size <= total) std::memcpy(buffer3, second, size);
    }
  }
  return code;
}

}  // namespace tavrel
