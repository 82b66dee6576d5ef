// channel_call: measures and frames a request, splits it when it is too long for one
// exchange (MALL, MPUT), hands it to the transport, and fetches a long answer with MGET.
#include "channel/channel.h"

#include <algorithm>
#include <cstring>
#include <mutex>
#include <vector>

#include "channel/client_codepage.h"
#include "channel/framing.h"
#include "channel/transport.h"

namespace tavrel {

namespace {

struct Settings {
  std::mutex lock;  // the settings critical section
  CodePageSettings codepage{};
  bool chosen = false;
  uint8_t switch0 = 0;
  uint8_t switch6 = 0;
};

Settings& settings() {
  static Settings s;
  return s;
}

CodePageBlock default_codepage() {
  Settings& s = settings();
  std::lock_guard lock(s.lock);
  if (!s.chosen) {
    codepage_choose_default(&s.codepage, false);
    s.chosen = true;
  }
  return s.codepage.block;
}

std::vector<uint8_t>& frame_buffer() {
  thread_local std::vector<uint8_t> frame(EXCHANGE_MAX);
  return frame;
}

uint32_t finish(RequestBlock* block, uint32_t code) {
  block->return_code = code;
  return code;
}

// Sends a request of more than 65,414 data bytes: MALL announces the total, MPUT carries the
// data stream piece by piece as the fourth part, and the final exchange carries the rest.
uint32_t send_split(RequestBlock* block, int row, const std::vector<uint8_t>& stream, void* answer,
                    void* buffer3, CompletionRoutine done) {
  constexpr size_t PIECE = REQUEST_DATA_MAX - 8;
  uint8_t* frame = frame_buffer().data();
  const int mput_row = command_find("MPUT");
  RequestBlock copy = *block;
  // The pieces are the channel's own exchanges on a block of this frame: no slot may stay
  // kept for them.
  copy.flags &= ~(REQUEST_ASYNC | REQUEST_ANSWER_WANTED);
  std::memcpy(copy.command, "MALL", 4);
  copy.answer_length = static_cast<uint16_t>(stream.size());  // the field is 16 bits wide
  std::memcpy(frame + 4, &copy, sizeof copy);
  std::memset(frame + FRAME_HEADER, 0, 8);
  uint32_t code = transport_send(frame, FRAME_HEADER + 8, {&copy, command_find("MALL"), nullptr, nullptr, nullptr});
  size_t sent = 0;
  while (code == 0 && stream.size() - sent > PIECE) {
    std::memcpy(copy.command, "MPUT", 4);
    copy.position = static_cast<uint32_t>(sent);
    copy.answer_length = static_cast<uint16_t>(PIECE);
    std::memcpy(frame + 4, &copy, sizeof copy);
    std::memset(frame + FRAME_HEADER, 0, 6);
    put_u16(frame + FRAME_HEADER + 6, PIECE);
    std::memcpy(frame + FRAME_HEADER + 8, stream.data() + sent, PIECE);
    code = transport_send(frame, FRAME_HEADER + REQUEST_DATA_MAX, {&copy, mput_row, nullptr, nullptr, nullptr});
    sent += PIECE;
  }
  if (code != 0) {
    block->return_code = code;
    block->system_code = copy.system_code;
    return code;
  }
  const size_t rest = stream.size() - sent;
  std::memcpy(frame + 4, block, sizeof *block);
  std::memset(frame + FRAME_HEADER, 0, 6);
  put_u16(frame + FRAME_HEADER + 6, static_cast<uint32_t>(rest));
  std::memcpy(frame + FRAME_HEADER + 8, stream.data() + sent, rest);
  return transport_send(frame, FRAME_HEADER + 8 + rest, {block, row, answer, buffer3, done});
}

// Fetches an answer that did not fit one exchange, piece by piece with MGET, into the
// caller's answer buffer.
uint32_t fetch_rest(RequestBlock* block, char saved_command[4], void* answer) {
  const size_t needed = block->answer_length;
  const int mget_row = command_find("MGET");
  uint8_t* frame = frame_buffer().data();
  auto* out = static_cast<uint8_t*>(answer);
  size_t have = 0;
  uint32_t code = 0;
  block->flags &= ~REQUEST_FETCH_REST;
  while (have < needed || needed == 0) {
    RequestBlock piece = *block;
    piece.flags &= ~REQUEST_ANSWER_WANTED;
    std::memcpy(piece.command, "MGET", 4);
    piece.position = static_cast<uint32_t>(have);
    piece.answer_length = static_cast<uint16_t>(std::min(needed - have, ANSWER_DATA_MAX));
    std::memcpy(frame + 4, &piece, sizeof piece);
    std::memset(frame + FRAME_HEADER, 0, 8);
    code = transport_send(frame, FRAME_HEADER + 8, {&piece, mget_row, out == nullptr ? nullptr : out + have, nullptr, nullptr});
    block->return_code = piece.return_code;
    block->system_code = piece.system_code;
    block->argument = piece.argument;
    block->answer_word = piece.answer_word;
    if (code != 0 || piece.answer_length == 0) break;
    have += piece.answer_length;
    if (needed == 0) break;
  }
  std::memcpy(block->command, saved_command, 4);
  block->answer_length = static_cast<uint16_t>(have);
  return code;
}

}  // namespace

uint32_t channel_call(RequestBlock* block, const void* buffer1, const void* buffer2, void* buffer3,
                      void* answer, CompletionRoutine done) {
  if (block == nullptr) return CHANNEL_MISSING_BUFFER;
  block->return_code = 0;
  block->system_code = 0;
  if (transport_in_completion() && (block->flags & REQUEST_ASYNC) == 0) {
    return finish(block, CHANNEL_SYNC_IN_COMPLETION);
  }
  if (const uint32_t code = transport_attach_for(block)) return code;

  for (;;) {
    const bool fetching = (block->flags & REQUEST_FETCH_REST) != 0;
    char saved_command[4];
    std::memcpy(saved_command, block->command, 4);
    if (fetching) std::memcpy(block->command, "MGET", 4);
    const int row = command_find(block->command);
    if (row < 0) return finish(block, CHANNEL_UNKNOWN_COMMAND);
    if (fetching) {
      request_prepare_flags(block);
      return fetch_rest(block, saved_command, answer);
    }
    const CodePageBlock defaults = default_codepage();
    CodePageBlock codepage{};
    RequestParts parts{};
    const uint32_t measured = request_measure(block, COMMAND_TABLE[row], buffer1, buffer2, buffer3,
                                              answer, defaults, &codepage, &parts);
    if (measured != 0) return finish(block, measured);
    request_prepare_flags(block);
    const bool async = (block->flags & REQUEST_ASYNC) != 0;
    const CallContext call{block, row, answer, async ? nullptr : buffer3, done};

    const size_t data_length = request_data_length(parts);
    uint32_t code;
    if (data_length > REQUEST_DATA_MAX) {
      std::vector<uint8_t> stream(data_length);
      request_write_data(parts, stream.data());
      code = send_split(block, row, stream, answer, call.buffer3, done);
    } else {
      uint8_t* frame = frame_buffer().data();
      std::memcpy(frame + 4, block, sizeof *block);
      request_write_data(parts, frame + FRAME_HEADER);
      code = transport_send(frame, FRAME_HEADER + data_length, call);
    }
    if (async) return code == 0 || block->return_code == 0 ? 0 : block->return_code;
    if ((block->flags & REQUEST_FETCH_REST) == 0) return code;
  }
}

int channel_wait(RequestBlock* block, int seconds) {
  if (seconds <= 0) return transport_wait(block, seconds);
  // Beyond what milliseconds in an int hold, the wait is as good as endless.
  return transport_wait(block, seconds < INT32_MAX / 1000 ? seconds * 1000 : -1);
}

int channel_wait_ms(RequestBlock* block, int milliseconds) { return transport_wait(block, milliseconds); }

int channel_set_option(int option, const void* value, size_t length) {
  Settings& s = settings();
  const auto positive = [&] {
    int32_t number = 0;
    if (value != nullptr) std::memcpy(&number, value, std::min(length, sizeof number));
    return number > 0;
  };
  switch (option) {
    case 0: s.switch0 = positive() ? 1 : 0; return 1;
    case 6: s.switch6 = positive() ? 1 : 0; return 1;
    case 1: {
      if (value == nullptr || length < sizeof(CodePageBlock)) return 0;
      const CodePageBlock block = default_codepage();
      std::memcpy(const_cast<void*>(value), &block, sizeof block);
      return 1;
    }
    case 2: {
      default_codepage();
      std::lock_guard lock(s.lock);
      CodePageBlock& block = s.codepage.block;
      block.present = static_cast<uint16_t>(length);
      if (length != 0 && value != nullptr) {
        const size_t n = strnlen(static_cast<const char*>(value), std::min<size_t>(length, CODEPAGE_NAME_MAX));
        std::memset(block.name, 0, sizeof block.name);
        std::memcpy(block.name, value, n);
        block.length = static_cast<uint16_t>(n);
      }
      return 1;
    }
    case 5: {
      std::lock_guard lock(s.lock);
      s.codepage.use_oem = positive();
      codepage_choose_default(&s.codepage, false);
      s.chosen = true;
      return 1;
    }
    case 7: {
      transport_reread_environment();
      std::lock_guard lock(s.lock);
      codepage_choose_default(&s.codepage, true);
      s.chosen = true;
      return 1;
    }
    default: return 0;
  }
}

void channel_shutdown() { transport_shutdown(); }

int channel_call_interruptible(RequestBlock* block, const void* buffer1, const void* buffer2,
                               void* buffer3, void* answer, const InterruptHooks& hooks) {
  char command[4];
  std::memcpy(command, block->command, 4);
  block->flags |= REQUEST_ASYNC;
  channel_call(block, buffer1, buffer2, buffer3, answer, [](RequestBlock*, void*, void*) {});
  const uint32_t code = block->return_code;
  const bool window = code != CHANNEL_NOT_REACHED && code != CHANNEL_EXCHANGE_FAILED &&
                      code != CHANNEL_SEND_FAILED;
  if (window && hooks.show != nullptr) hooks.show(hooks.user, true);
  bool interrupted = false;
  // Blocks up to 5 ms at a time, so that the answer is taken as soon as it is in and Esc is
  // still looked at between the waits.
  while (window && channel_wait_ms(block, 5) != 0) {
    if (hooks.escape_pressed != nullptr && hooks.escape_pressed(hooks.user)) {
      interrupted = true;
      break;
    }
  }
  if (window && hooks.show != nullptr) hooks.show(hooks.user, false);
  if (!interrupted) {
    block->flags &= ~REQUEST_ASYNC;
    return 0;
  }
  RequestBlock second{};
  std::memcpy(second.node, block->node, sizeof second.node);
  if (hooks.open_second != nullptr && hooks.open_second(hooks.user, &second) == 0) {
    std::memcpy(second.command, "KILL", 4);
    second.position = block->channel;
    channel_call(&second, "", nullptr, nullptr, nullptr);
  }
  channel_wait(block, -1);
  std::memcpy(block, &second, sizeof second);
  std::memcpy(block->command, command, 4);
  return 1;
}

bool connect_string(std::string_view user_password, std::string* out) {
  if (!user_password.empty() && user_password.front() == '"') {
    out->assign(user_password);
  } else {
    const size_t slash = user_password.find('/');
    if (slash == 0 || slash == std::string_view::npos) return false;
    *out = "\"" + std::string(user_password.substr(0, slash)) + "\"/\"" +
           std::string(user_password.substr(slash + 1)) + "\"";
  }
  return out->size() <= CONNECT_STRING_MAX;
}

}  // namespace tavrel
