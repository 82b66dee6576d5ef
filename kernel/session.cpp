// The session worker: statements, selects and their portions, GETE texts, the MALL/MPUT
// assembly of long requests and the MGET delivery of long answers.
#include "kernel/session.h"

#include <sqlite3.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "text/codepage.h"
#include "channel/framing.h"
#include "text/unicode.h"
#include "kernel/errors.h"
#include "kernel/storage.h"
#include "platform/ipc.h"
#include "platform/platform.h"

namespace tavrel {

namespace {

constexpr uint16_t NULL_LENGTH = 0xFFFF;
// A request joined from MPUT pieces is refused beyond this size.
constexpr size_t ASSEMBLY_MAX = size_t{64} << 20;
// Longer select texts are prepared for one use only.
constexpr size_t STATEMENT_TEXT_CACHED_MAX = 16384;
// A select runs on the server thread only while it stays within these: the server thread
// must return soon to receive for every other session. Beyond them it is abandoned (it only
// reads) and handed to the worker, which runs it again from the start.
constexpr auto INLINE_TIME_MAX = std::chrono::microseconds(200);
constexpr size_t INLINE_BYTES_MAX = size_t{1} << 20;
// What one select's rows may take in memory (TAVREL_RESULT_MAX overrides it, in bytes).
constexpr size_t RESULT_BYTES_MAX = size_t{256} << 20;
constexpr int INLINE_CHECK_OPS = 100;  // SQLite VM instructions between looks at the clock

std::string_view part_text(const KernelRequest& r, int i) {
  return {reinterpret_cast<const char*>(r.part[i]), r.part_length[i]};
}

// A statement travels up to its last ";" and maybe a padding blank.
std::string statement_of(const KernelRequest& r, uint16_t codepage) {
  return text_to_utf8(part_text(r, 1), codepage);
}

void append_u16(std::vector<uint8_t>& out, uint32_t v) {
  out.push_back(static_cast<uint8_t>(v));
  out.push_back(static_cast<uint8_t>(v >> 8));
}

// One row: per column a u16 length and the text in the client's code page, 0xFFFF for NULL.
// A value of 65,535 bytes or more keeps all its bytes, which makes the row longer than any
// answer can carry: it is refused when its turn comes, never sent cut.
std::vector<uint8_t> encode_row(sqlite3_stmt* st, uint16_t codepage) {
  std::vector<uint8_t> row;
  const int columns = sqlite3_column_count(st);
  for (int c = 0; c < columns; ++c) {
    if (sqlite3_column_type(st, c) == SQLITE_NULL) {
      append_u16(row, NULL_LENGTH);
      continue;
    }
    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(st, c));
    const std::string_view utf8(text != nullptr ? text : "", static_cast<size_t>(sqlite3_column_bytes(st, c)));
    // A UTF-8 session takes the text as it is, without a converted copy.
    std::string converted;
    const std::string_view value = codepage == CODEPAGE_OTHER ? utf8 : (converted = text_from_utf8(utf8, codepage));
    append_u16(row, static_cast<uint32_t>(value.size() < NULL_LENGTH ? value.size() : NULL_LENGTH - 1));
    row.insert(row.end(), value.begin(), value.end());
  }
  return row;
}

CatalogContext catalog_context(Session* s) {
  return CatalogContext{s->db, s->user, s->codepage, &s->catalog, &s->last_message};
}

void close_cursor(Session* s) {
  if (s->cursor_kept) {
    sqlite3_reset(s->cursor);
  } else {
    sqlite3_finalize(s->cursor);
  }
  s->cursor = nullptr;
  s->cursor_kept = false;
  s->rows.clear();
  s->next_row = 0;
}

// The session's prepared statement for a select text, or nullptr.
CachedStatement* cached_select(Session* s, std::string_view text) {
  for (CachedStatement& e : s->statements) {
    if (e.text == text) {
      e.used = ++s->selects;
      return &e;
    }
  }
  return nullptr;
}

// Keeps a newly prepared select, finalizing the one used longest ago when the cache is full.
// The cursor must be closed: it may be the one that goes.
CachedStatement* cache_select(Session* s, std::string_view text, sqlite3_stmt* statement) {
  CachedStatement* slot = nullptr;
  if (s->statements.size() < STATEMENTS_CACHED_MAX) {
    slot = &s->statements.emplace_back();
  } else {
    slot = &s->statements.front();
    for (CachedStatement& e : s->statements) {
      if (e.used < slot->used) slot = &e;
    }
    sqlite3_finalize(slot->statement);
  }
  slot->text.assign(text);
  slot->statement = statement;
  slot->used = ++s->selects;
  slot->quick = false;
  return slot;
}

void release_statements(Session* s) {
  close_cursor(s);
  for (CachedStatement& e : s->statements) sqlite3_finalize(e.statement);
  s->statements.clear();
}

size_t result_bytes_max() {
  static const size_t limit = [] {
    char text[32];
    if (platform_getenv("TAVREL_RESULT_MAX", text, sizeof text) <= 0) return RESULT_BYTES_MAX;
    const unsigned long long n = std::strtoull(text, nullptr, 10);
    return n > 0 ? static_cast<size_t>(n) : RESULT_BYTES_MAX;
  }();
  return limit;
}

// Steps the cursor to its end, every row into the session's rows: SQLITE_DONE when all were
// read (the statement is then reset), SQLITE_FULL when they exceed bytes_max, else the code
// of the failing step.
int read_rows(Session* s, size_t bytes_max) {
  size_t bytes = 0;
  for (;;) {
    const int rc = sqlite3_step(s->cursor);
    if (rc == SQLITE_DONE) {
      sqlite3_reset(s->cursor);
      return rc;
    }
    if (rc != SQLITE_ROW) return rc;
    s->rows.push_back(encode_row(s->cursor, s->codepage));
    bytes += s->rows.back().size();
    if (bytes > bytes_max) return SQLITE_FULL;
  }
}

// SLCT of ordinary SQL: runs the select to its end, count = rows found, and answers with the
// first rows. The statement stays prepared, so that DESC describes it and GETN answers 2
// once every row has gone, until the next select or CLOS. A kept statement notes whether it
// may run on the server thread next time.
void open_select(Session* s, sqlite3_stmt* statement, CachedStatement* kept, uint16_t capacity, KernelAnswer* a) {
  s->cursor = statement;
  s->cursor_kept = kept != nullptr;
  const auto start = std::chrono::steady_clock::now();
  const int rc = read_rows(s, result_bytes_max());
  if (kept != nullptr) {
    kept->quick = rc == SQLITE_DONE && sqlite3_stmt_readonly(statement) != 0 &&
                  std::chrono::steady_clock::now() - start <= INLINE_TIME_MAX;
  }
  if (rc != SQLITE_DONE) {
    a->code = rc == SQLITE_FULL ? KERNEL_RESULT_TOO_LARGE : storage_code(rc);
    s->last_message = rc == SQLITE_FULL ? "" : sqlite3_errmsg(s->db);
    close_cursor(s);
    std::vector<std::vector<uint8_t>>().swap(s->rows);
    return;
  }
  a->argument = static_cast<uint32_t>(s->rows.size());
  rows_deliver(s->rows, &s->next_row, capacity, a);
}

// SLCT: a catalogue statement, or ordinary SQL prepared once per text.
void select(Session* s, const KernelRequest& r, KernelAnswer* a) {
  close_cursor(s);
  s->catalog.active = false;
  const std::string_view sent = part_text(r, 1);
  if (CachedStatement* kept = cached_select(s, sent)) {
    open_select(s, kept->statement, kept, r.block.answer_length, a);
    return;
  }
  const std::string text = text_to_utf8(sent, s->codepage);
  if (catalog_select(catalog_context(s), text, r.block.answer_length, a)) return;
  const bool keep = sent.size() <= STATEMENT_TEXT_CACHED_MAX;
  sqlite3_stmt* statement = nullptr;
  a->code = storage_prepare(s->db, catalog_rewrite(text), &statement, &s->last_message, keep);
  if (a->code != 0) return;
  open_select(s, statement, keep ? cache_select(s, sent, statement) : nullptr, r.block.answer_length, a);
}

struct InlineBudget {
  std::chrono::steady_clock::time_point deadline;
};

int over_budget(void* budget) {
  return std::chrono::steady_clock::now() > static_cast<InlineBudget*>(budget)->deadline ? 1 : 0;
}

// SLCT on the server thread while the worker is idle: only a kept read-only statement whose
// last run was short, and only while this run stays short and finds no lock in its way.
// False when the request must go to the worker; nothing has been answered then.
bool select_inline(Session* s, const std::vector<uint8_t>& message) {
  KernelRequest r{};
  if (kernel_parse_frame(message.data(), message.size(), &r) != 0) return false;
  CachedStatement* kept = cached_select(s, part_text(r, 1));
  if (kept == nullptr || !kept->quick) return false;
  close_cursor(s);
  s->catalog.active = false;
  s->cursor = kept->statement;
  s->cursor_kept = true;
  InlineBudget budget{std::chrono::steady_clock::now() + INLINE_TIME_MAX};
  sqlite3_progress_handler(s->db, INLINE_CHECK_OPS, over_budget, &budget);
  sqlite3_busy_timeout(s->db, 0);
  const int rc = read_rows(s, INLINE_BYTES_MAX);
  sqlite3_progress_handler(s->db, 0, nullptr, nullptr);
  sqlite3_busy_timeout(s->db, STORAGE_BUSY_MS);
  if (rc != SQLITE_DONE) {
    kept->quick = false;
    close_cursor(s);
    return false;
  }
  KernelAnswer a;
  a.channel = s->channel;
  a.position = r.block.position;
  a.argument = static_cast<uint32_t>(s->rows.size());
  rows_deliver(s->rows, &s->next_row, r.block.answer_length, &a);
  kernel_answer(s->endpoint, r, std::move(a), s);
  return true;
}

// GETN of ordinary SQL: the next rows; count = rows in the answer.
void next_rows(Session* s, uint16_t capacity, KernelAnswer* a) {
  if (s->cursor == nullptr) {
    a->code = KERNEL_NO_SELECT;
    return;
  }
  a->argument = static_cast<uint32_t>(rows_deliver(s->rows, &s->next_row, capacity, a));
}

void describe(Session* s, KernelAnswer* a) {
  if (s->cursor == nullptr) {
    a->code = KERNEL_NO_SELECT;
    return;
  }
  const int columns = sqlite3_column_count(s->cursor);
  for (int c = 0; c < columns; ++c) {
    const std::string name = text_from_utf8(sqlite3_column_name(s->cursor, c), s->codepage);
    const char* declared = sqlite3_column_decltype(s->cursor, c);
    const std::string type = declared != nullptr ? declared : "";
    append_u16(a->data, static_cast<uint32_t>(name.size()));
    a->data.insert(a->data.end(), name.begin(), name.end());
    append_u16(a->data, static_cast<uint32_t>(type.size()));
    a->data.insert(a->data.end(), type.begin(), type.end());
  }
  a->argument = static_cast<uint32_t>(columns);
}

void error_text(Session* s, const KernelRequest& r, KernelAnswer* a) {
  const uint32_t code = r.block.position;
  if (code == KERNEL_TRANSLATION_ERRORS) {
    catalog_translation_errors(catalog_context(s), a);
    return;
  }
  const char* text = kernel_error_text(code);
  if (text == nullptr) {
    a->code = KERNEL_NO_OBJECT;
    return;
  }
  std::string message = text;
  if (code >= 2000 && code < 3000 && !s->last_message.empty()) message += ": " + s->last_message;
  const std::string converted = text_from_utf8(message, s->codepage);
  a->data.assign(converted.begin(), converted.end());
}

// Runs one request of the session; false when the session ends with it.
bool run(Session* s, const std::vector<uint8_t>& message) {
  KernelRequest r{};
  if (kernel_parse_frame(message.data(), message.size(), &r) != 0) {
    if (kernel_frame_trailer(message.data(), message.size(), &r)) {
      KernelAnswer a;
      a.code = KERNEL_MALFORMED;
      a.channel = s->channel;
      kernel_answer(s->endpoint, r, std::move(a));
    }
    return true;
  }
  const char* command = r.block.command;
  KernelAnswer a;
  a.channel = s->channel;
  a.position = r.block.position;

  // A long request arrives as MALL, MPUT pieces and the final exchange, whose parts are
  // then those of the joined data stream.
  std::vector<uint8_t> assembled;
  if (command_is(command, "MALL")) {
    s->assembly.clear();
    s->assembly_total = r.block.answer_length;
    s->assembling = true;
    kernel_answer(s->endpoint, r, std::move(a));
    return true;
  }
  if (command_is(command, "MPUT")) {
    if (!s->assembling || r.block.position != s->assembly.size() ||
        s->assembly.size() + r.part_length[3] > ASSEMBLY_MAX) {
      s->assembling = false;
      s->assembly.clear();
      a.code = KERNEL_MALFORMED;
    } else {
      s->assembly.insert(s->assembly.end(), r.part[3], r.part[3] + r.part_length[3]);
    }
    kernel_answer(s->endpoint, r, std::move(a));
    return true;
  }
  if (s->assembling) {
    s->assembling = false;
    assembled.swap(s->assembly);
    assembled.insert(assembled.end(), r.part[3], r.part[3] + r.part_length[3]);
    if ((assembled.size() & 0xFFFF) != s->assembly_total ||
        kernel_parse_stream(assembled.data(), assembled.size(), &r) != 0) {
      a.code = KERNEL_MALFORMED;
      kernel_answer(s->endpoint, r, std::move(a));
      return true;
    }
  }

  if (command_is(command, "MGET")) {
    const size_t position = r.block.position;
    if (position >= s->pending.size()) {
      a.code = KERNEL_NO_SELECT;
    } else {
      size_t n = s->pending.size() - position;
      if (n > r.block.answer_length) n = r.block.answer_length;
      if (n > ANSWER_DATA_MAX) n = ANSWER_DATA_MAX;
      a.code = s->pending_head.code;
      a.argument = s->pending_head.argument;
      a.data.assign(s->pending.begin() + static_cast<long>(position),
                    s->pending.begin() + static_cast<long>(position + n));
      if (position + n >= s->pending.size()) s->pending.clear();
    }
  } else if (command_is(command, "    ")) {
    close_cursor(s);
    s->catalog.active = false;
    const std::string text = statement_of(r, s->codepage);
    if (!catalog_statement(catalog_context(s), text, &a)) {
      uint32_t changes = 0;
      a.code = storage_execute(s->db, catalog_rewrite(text), &changes, &s->last_message);
      a.argument = changes;
    }
  } else if (command_is(command, "SLCT")) {
    select(s, r, &a);
  } else if (command_is(command, "GETN")) {
    if (s->catalog.active) {
      catalog_next(catalog_context(s), r.block.answer_length, &a);
    } else {
      next_rows(s, r.block.answer_length, &a);
    }
  } else if (command_is(command, "GPRC")) {
    catalog_text_portion(catalog_context(s), r.block.position, r.block.answer_length, &a);
  } else if (command_is(command, "PROC")) {
    catalog_proc_command(catalog_context(s), r.block.position, r.block.argument, r.block.answer_length, &a);
  } else if (command_is(command, "DESC")) {
    describe(s, &a);
  } else if (command_is(command, "GETE")) {
    error_text(s, r, &a);
  } else if (command_is(command, "CLOS")) {
    close_cursor(s);
    {
      // Closed before the answer leaves, so that the client's next request on this channel
      // is answered by the server thread and not posted to a worker that is ending.
      std::lock_guard lock(s->lock);
      s->closed = true;
    }
    a.channel = 0;
    kernel_answer(s->endpoint, r, std::move(a));
    return false;
  } else {
    a.code = KERNEL_UNSUPPORTED;
  }
  kernel_answer(s->endpoint, r, std::move(a), s);
  return true;
}

// Whether the frame's command is the one named.
bool command_of_is(const std::vector<uint8_t>& message, const char* name) {
  if (message.size() < FRAME_HEADER) return false;
  return command_is(reinterpret_cast<const char*>(message.data()) + 4 + offsetof(RequestBlock, command), name);
}

// Commands that read only what the session holds (texts, rows already read, a kept answer),
// never the database.
bool answered_from_memory(const std::vector<uint8_t>& message) {
  for (const char* quick : {"GETE", "GETN", "MGET", "GPRC", "DESC"}) {
    if (command_of_is(message, quick)) return true;
  }
  return false;
}

void worker(Session* s) {
  for (;;) {
    std::vector<uint8_t> message;
    {
      std::unique_lock lock(s->lock);
      s->wake.wait(lock, [s] { return !s->running && (!s->queue.empty() || s->closing); });
      if (s->queue.empty()) break;
      message = std::move(s->queue.front());
      s->queue.pop_front();
      s->running = true;
    }
    const bool more = run(s, message);
    {
      std::lock_guard lock(s->lock);
      s->running = false;
    }
    if (!more) break;
  }
  release_statements(s);
  std::lock_guard lock(s->lock);
  storage_disconnect(s->db);
  s->db = nullptr;
  s->finished = true;
}

}  // namespace

std::string text_to_utf8(std::string_view text, uint16_t codepage) {
  if (codepage == CODEPAGE_OTHER) return std::string(text);
  std::string cp866(text.size(), '\0');
  for (size_t i = 0; i < text.size(); ++i) {
    const auto c = static_cast<uint8_t>(text[i]);
    uint8_t out = c;
    if (c >= 128 && codepage == CODEPAGE_1251) out = CP1251_TO_CP866[c - 128];
    if (c >= 128 && codepage == CODEPAGE_KOI8) out = KOI8_TO_CP866[c - 128];
    cp866[i] = static_cast<char>(out);
  }
  return cp866_to_utf8(cp866);
}

std::string text_from_utf8(std::string_view text, uint16_t codepage) {
  if (codepage == CODEPAGE_OTHER) return std::string(text);
  std::string out = utf8_to_cp866(text);
  for (char& ch : out) {
    const auto c = static_cast<uint8_t>(ch);
    if (c >= 128 && codepage == CODEPAGE_1251) ch = static_cast<char>(CP866_TO_CP1251[c - 128]);
    if (c >= 128 && codepage == CODEPAGE_KOI8) ch = static_cast<char>(CP866_TO_KOI8[c - 128]);
  }
  return out;
}

void kernel_answer(IpcEndpoint* endpoint, const KernelRequest& request, KernelAnswer answer, Session* session) {
  const size_t size = answer.data.size() + (answer.second.empty() ? 0 : answer.second.size() + 1);
  if (size > ANSWER_DATA_MAX) {
    const int row = command_find(request.block.command);
    const bool fetchable = row >= 0 && (COMMAND_TABLE[row].properties & COMMAND_FETCH) != 0;
    const size_t needed = answer.data.size();
    const bool describable = needed <= ROW_MAX;
    if (describable && session != nullptr && fetchable && request.block.answer_length >= needed) {
      session->pending = std::move(answer.data);
      session->pending_head = answer;
    }
    // An answer that no 16-bit length can describe is refused, never sent cut.
    KernelAnswer too_long;
    too_long.code = describable ? CHANNEL_ANSWER_TOO_LONG : KERNEL_ANSWER_TOO_LONG;
    too_long.channel = answer.channel;
    too_long.position = answer.position;
    too_long.argument = answer.argument;
    too_long.length_field = describable ? static_cast<uint16_t>(needed) : 0;
    answer = std::move(too_long);
  }
  // One frame buffer per thread, neither allocated nor cleared per answer: the builder
  // writes every byte it sends.
  thread_local std::vector<uint8_t> frame(EXCHANGE_MAX);
  const size_t length = kernel_build_answer(request, answer, frame.data());
  ipc_reply_to(endpoint, request.client_pid, frame.data(), length);
}

void session_start(Session* session) { session->worker = std::thread(worker, session); }

bool session_post(Session* session, std::vector<uint8_t> message) {
  std::unique_lock lock(session->lock);
  if (session->closed || session->closing) return false;
  // A request answered from what the session already holds, or a short select it has run
  // before, runs at once on the calling thread when the worker is idle: handing it to the
  // worker would cost more than running it. A select that turns out long goes to the worker.
  if (!session->running && session->queue.empty() && !session->assembling) {
    const bool from_memory = answered_from_memory(message);
    if (from_memory || command_of_is(message, "SLCT")) {
      session->running = true;
      lock.unlock();
      bool answered = true;
      if (from_memory) {
        run(session, message);
      } else {
        answered = select_inline(session, message);
      }
      lock.lock();
      session->running = false;
      if (answered) {
        if (!session->queue.empty() || session->closing) session->wake.notify_one();
        return true;
      }
    }
  }
  session->queue.push_back(std::move(message));
  session->wake.notify_one();
  return true;
}

void session_stop(Session* session) {
  {
    std::lock_guard lock(session->lock);
    session->closing = true;
    session->wake.notify_one();
  }
  if (session->worker.joinable()) session->worker.join();
}

void session_interrupt(Session* session) {
  std::lock_guard lock(session->lock);
  if (session->db != nullptr) sqlite3_interrupt(session->db);
}

}  // namespace tavrel
