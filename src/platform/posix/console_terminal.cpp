// The terminal console backend: the console seam on xterm and its relatives, tmux and
// screen, and the Linux console. The terminal is put in raw mode (termios saved and given
// back), switched to its alternate screen, and drawn with the screen writer from this
// backend's own copy of the screen, which also stands in for reading cells back. Input bytes
// are read with poll() beside a self-pipe (the wake-up event, and the resize signal) and
// decoded into Win32-shaped records by the key decoder; a lone ESC waits TAVREL_ESC_MS
// (default 50 ms) for a following byte that would make it Alt. The terminal is given back on
// close, at exit(), and on SIGINT, SIGTERM, SIGHUP, SIGQUIT and the fatal signals (restored,
// then the signal is raised again with the handler that was there before).
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <string>
#include <vector>

#include "platform/console.h"
#include "platform/terminal_keys.h"
#include "platform/terminal_writer.h"

namespace tavrel {

namespace {

constexpr int MIN_COLUMNS = 80;
constexpr int MIN_ROWS = 25;
constexpr int DEFAULT_ESC_MS = 50;
constexpr int MAX_ESC_MS = 2000;
constexpr int DOUBLE_CLICK_MS = 500;
constexpr int DEFAULT_CURSOR_SIZE = 25;
constexpr size_t INPUT_BUFFER = 4096;
constexpr uint8_t ATTR_BLANK = 0x07;

// Bytes the self-pipe carries.
constexpr char PIPE_WAKE = 'w';
constexpr char PIPE_RESIZE = 'r';

struct TerminalState {
  bool open;
  int in_fd, out_fd;
  const TermProfile* profile;
  int columns, rows;
  std::vector<ConsoleCell> screen;  // what the program drew
  TermWriter writer;
  bool screen_dirty;                // drawn since the last flush
  int cursor_column, cursor_row;
  bool cursor_moved;
  int cursor_size;
  bool cursor_visible;
  std::string out;                  // bytes waiting for the next write
  // Input.
  uint8_t input[INPUT_BUFFER];      // bytes read, not yet decoded
  size_t input_size;
  int64_t last_read_ms;             // when the last bytes arrived
  int esc_ms;
  TermInputState decoder;
  std::deque<InputRecord> records;
  bool wake_pending;                // woken while input was ready: report it next time
  int pipe_fds[2];
  int64_t last_press_ms;
  InputRecord last_press;
  uint32_t last_buttons;
};

TerminalState g_term;

// What the signal handlers need, set up before they are installed and touched there only
// through async-signal-safe calls.
volatile sig_atomic_t g_armed = 0;
volatile sig_atomic_t g_resized = 0;
int g_signal_in_fd = -1;
int g_signal_out_fd = -1;
int g_signal_pipe_fd = -1;
struct termios g_saved_termios;
char g_leave_bytes[256];
size_t g_leave_length = 0;

// The signals after which the terminal is given back; the fatal ones come with a core.
constexpr int RESTORE_SIGNALS[] = {SIGINT,  SIGTERM, SIGHUP, SIGQUIT, SIGSEGV,
                                   SIGABRT, SIGBUS,  SIGFPE, SIGILL};
constexpr int RESTORE_SIGNAL_COUNT = sizeof RESTORE_SIGNALS / sizeof RESTORE_SIGNALS[0];
struct sigaction g_old_actions[RESTORE_SIGNAL_COUNT];
bool g_installed[RESTORE_SIGNAL_COUNT];
struct sigaction g_old_winch;

int64_t now_ms() {
  struct timespec ts;
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return static_cast<int64_t>(ts.tv_sec) * 1000 + ts.tv_nsec / 1000000;
}

void write_all(int fd, const char* data, size_t size) {
  while (size > 0) {
    ssize_t n = write(fd, data, size);
    if (n < 0) {
      if (errno == EINTR) continue;
      if (errno == EAGAIN) {
        struct pollfd p = {fd, POLLOUT, 0};
        poll(&p, 1, 100);
        continue;
      }
      return;
    }
    data += n;
    size -= static_cast<size_t>(n);
  }
}

// Gives the terminal back; safe in a signal handler, and done once.
void restore_terminal() {
  if (!g_armed) return;
  g_armed = 0;
  write_all(g_signal_out_fd, g_leave_bytes, g_leave_length);
  tcsetattr(g_signal_in_fd, TCSAFLUSH, &g_saved_termios);
}

void on_restore_signal(int sig) {
  int saved_errno = errno;
  restore_terminal();
  for (int i = 0; i < RESTORE_SIGNAL_COUNT; ++i) {
    if (RESTORE_SIGNALS[i] == sig) sigaction(sig, &g_old_actions[i], nullptr);
  }
  // Delivered again as soon as this handler returns (the signal is blocked inside it), to
  // the handler that was there before, or with the default action.
  raise(sig);
  errno = saved_errno;
}

void on_resize_signal(int) {
  int saved_errno = errno;
  g_resized = 1;
  if (g_signal_pipe_fd >= 0) {
    ssize_t ignored = write(g_signal_pipe_fd, &PIPE_RESIZE, 1);
    (void)ignored;
  }
  errno = saved_errno;
}

void restore_at_exit() { restore_terminal(); }

void install_signal_handlers() {
  struct sigaction sa;
  std::memset(&sa, 0, sizeof sa);
  sigemptyset(&sa.sa_mask);
  sa.sa_handler = on_restore_signal;
  for (int i = 0; i < RESTORE_SIGNAL_COUNT; ++i) {
    g_installed[i] = false;
    if (sigaction(RESTORE_SIGNALS[i], nullptr, &g_old_actions[i]) != 0) continue;
    // A signal the process was told to ignore (nohup) stays ignored.
    if (!(g_old_actions[i].sa_flags & SA_SIGINFO) && g_old_actions[i].sa_handler == SIG_IGN) {
      continue;
    }
    g_installed[i] = sigaction(RESTORE_SIGNALS[i], &sa, nullptr) == 0;
  }
  sa.sa_handler = on_resize_signal;
  sa.sa_flags = SA_RESTART;
  sigaction(SIGWINCH, &sa, &g_old_winch);
}

void remove_signal_handlers() {
  for (int i = 0; i < RESTORE_SIGNAL_COUNT; ++i) {
    if (g_installed[i]) sigaction(RESTORE_SIGNALS[i], &g_old_actions[i], nullptr);
    g_installed[i] = false;
  }
  sigaction(SIGWINCH, &g_old_winch, nullptr);
}

int terminal_size(int fd, int* columns, int* rows) {
  struct winsize ws;
  if (ioctl(fd, TIOCGWINSZ, &ws) != 0 || ws.ws_col == 0 || ws.ws_row == 0) return 1;
  *columns = ws.ws_col;
  *rows = ws.ws_row;
  return 0;
}

int env_esc_ms() {
  const char* text = std::getenv("TAVREL_ESC_MS");
  if (text == nullptr || *text == 0) return DEFAULT_ESC_MS;
  char* end = nullptr;
  long ms = std::strtol(text, &end, 10);
  if (*end != 0 || ms < 0) return DEFAULT_ESC_MS;
  return ms > MAX_ESC_MS ? MAX_ESC_MS : static_cast<int>(ms);
}

// Sends what is waiting, the screen's changes and the cursor first, in one write.
void flush_output() {
  TerminalState& t = g_term;
  if (!t.open) return;
  if (t.screen_dirty || t.cursor_moved) {
    term_writer_update(&t.writer, t.screen.data(), t.cursor_column, t.cursor_row, &t.out);
    t.screen_dirty = false;
    t.cursor_moved = false;
  }
  if (!t.out.empty()) {
    write_all(t.out_fd, t.out.data(), t.out.size());
    t.out.clear();
  }
}

void handle_resize() {
  TerminalState& t = g_term;
  g_resized = 0;
  int columns = t.columns, rows = t.rows;
  if (terminal_size(t.out_fd, &columns, &rows) != 0) return;
  // The program keeps drawing the screen it started with; what fits is painted again.
  term_writer_invalidate(&t.writer, columns, rows);
  t.screen_dirty = true;
  flush_output();
}

// A record from the decoder, with the double click the terminal does not report.
void push_record(InputRecord rec) {
  TerminalState& t = g_term;
  if (rec.kind == INPUT_MOUSE) {
    uint32_t pressed = rec.button_state & ~t.last_buttons & (MOUSE_LEFT | MOUSE_RIGHT | MOUSE_MIDDLE);
    if (rec.event_flags == 0 && pressed != 0) {
      int64_t now = now_ms();
      if (now - t.last_press_ms <= DOUBLE_CLICK_MS && t.last_press.button_state == pressed &&
          t.last_press.mouse_x == rec.mouse_x && t.last_press.mouse_y == rec.mouse_y) {
        rec.event_flags |= MOUSE_DOUBLE_CLICK_FLAG;
        t.last_press_ms = 0;
      } else {
        t.last_press_ms = now;
        t.last_press = rec;
        t.last_press.button_state = pressed;
      }
    }
    if (!(rec.event_flags & MOUSE_WHEELED_FLAG)) t.last_buttons = rec.button_state;
  }
  t.records.push_back(rec);
}

// Decodes the bytes read so far; an unfinished sequence that has waited the Esc time-out is
// taken as it stands.
void decode_input() {
  TerminalState& t = g_term;
  bool final = now_ms() - t.last_read_ms >= t.esc_ms;
  size_t pos = 0;
  while (pos < t.input_size) {
    TermDecodeResult r;
    term_decode_input(t.input + pos, t.input_size - pos, final, &t.decoder, &r);
    if (r.status == TERM_DECODE_NEED_MORE) break;
    if (r.status == TERM_DECODE_ACCEPT && r.count > 0) push_record(r.record);
    pos += static_cast<size_t>(r.consumed > 0 ? r.consumed : 1);
  }
  std::memmove(t.input, t.input + pos, t.input_size - pos);
  t.input_size -= pos;
}

// Reads the bytes the terminal has sent; -1 when it is gone.
int read_terminal() {
  TerminalState& t = g_term;
  if (t.input_size == INPUT_BUFFER) return 0;
  ssize_t n = read(t.in_fd, t.input + t.input_size, INPUT_BUFFER - t.input_size);
  if (n < 0) return errno == EINTR || errno == EAGAIN ? 0 : -1;
  if (n == 0) return -1;
  t.input_size += static_cast<size_t>(n);
  t.last_read_ms = now_ms();
  return 0;
}

// Empties the self-pipe; true when a wake-up was among its bytes.
bool drain_pipe() {
  bool woken = false;
  char bytes[64];
  ssize_t n;
  while ((n = read(g_term.pipe_fds[0], bytes, sizeof bytes)) > 0) {
    for (ssize_t i = 0; i < n; ++i) woken |= bytes[i] == PIPE_WAKE;
  }
  return woken;
}

// Takes whatever input is there without waiting.
void poll_input_now() {
  struct pollfd p = {g_term.in_fd, POLLIN, 0};
  if (poll(&p, 1, 0) > 0 && (p.revents & POLLIN)) read_terminal();
  decode_input();
}

// ---------------------------------------------------------------------------------------
// The backend's entries.

int terminal_open() {
  TerminalState& t = g_term;
  if (t.open) return 0;
  t.in_fd = STDIN_FILENO;
  t.out_fd = STDOUT_FILENO;
  if (!isatty(t.in_fd) || !isatty(t.out_fd)) {
    std::fprintf(stderr, "Программе нужен терминал: ввод и вывод не должны быть перенаправлены.\n");
    return 1;
  }
  int columns = MIN_COLUMNS, rows = MIN_ROWS;
  terminal_size(t.out_fd, &columns, &rows);
  if (columns < MIN_COLUMNS || rows < MIN_ROWS) {
    std::fprintf(stderr,
                 "Окно терминала %dx%d меньше %dx%d: увеличьте его и запустите программу снова.\n",
                 columns, rows, MIN_COLUMNS, MIN_ROWS);
    return 2;
  }
  if (tcgetattr(t.in_fd, &g_saved_termios) != 0) {
    std::fprintf(stderr, "Не удалось получить режим терминала: %s\n", std::strerror(errno));
    return 3;
  }
  if (pipe(t.pipe_fds) != 0) return 4;
  for (int fd : t.pipe_fds) {
    fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_NONBLOCK);
    fcntl(fd, F_SETFD, FD_CLOEXEC);
  }
  t.profile = term_profile_for(std::getenv("TERM"));
  t.columns = columns;
  t.rows = rows;
  t.screen.assign(static_cast<size_t>(columns) * rows, ConsoleCell{' ', ATTR_BLANK});
  term_writer_init(&t.writer, t.profile, columns, rows);
  t.screen_dirty = true;
  t.cursor_column = t.cursor_row = 0;
  t.cursor_moved = true;
  t.cursor_size = DEFAULT_CURSOR_SIZE;
  t.cursor_visible = true;
  t.input_size = 0;
  t.last_read_ms = 0;
  t.esc_ms = env_esc_ms();
  t.decoder = TermInputState{};
  t.records.clear();
  t.wake_pending = false;
  t.last_press_ms = 0;
  t.last_buttons = 0;

  std::string leave;
  term_leave_sequence(t.profile, &leave);
  g_leave_length = leave.size() < sizeof g_leave_bytes ? leave.size() : sizeof g_leave_bytes;
  std::memcpy(g_leave_bytes, leave.data(), g_leave_length);
  g_signal_in_fd = t.in_fd;
  g_signal_out_fd = t.out_fd;
  g_signal_pipe_fd = t.pipe_fds[1];

  struct termios raw = g_saved_termios;
  raw.c_iflag &= ~static_cast<tcflag_t>(BRKINT | ICRNL | INPCK | ISTRIP | IXON | INLCR | IGNCR);
  raw.c_oflag &= ~static_cast<tcflag_t>(OPOST);
  raw.c_cflag |= CS8;
  raw.c_lflag &= ~static_cast<tcflag_t>(ECHO | ICANON | IEXTEN | ISIG);
  raw.c_cc[VMIN] = 1;
  raw.c_cc[VTIME] = 0;
  static bool at_exit_registered = false;
  if (!at_exit_registered) at_exit_registered = std::atexit(restore_at_exit) == 0;
  g_armed = 1;
  install_signal_handlers();
  if (tcsetattr(t.in_fd, TCSAFLUSH, &raw) != 0) {
    g_armed = 0;
    remove_signal_handlers();
    close(t.pipe_fds[0]);
    close(t.pipe_fds[1]);
    return 3;
  }
  t.open = true;
  term_enter_sequence(t.profile, &t.out);
  term_writer_cursor(&t.writer, t.cursor_size, t.cursor_visible, &t.out);
  flush_output();
  return 0;
}

void terminal_close() {
  TerminalState& t = g_term;
  if (!t.open) return;
  flush_output();
  restore_terminal();  // the leave sequence and the saved termios, pending input dropped
  remove_signal_handlers();
  g_signal_pipe_fd = -1;
  close(t.pipe_fds[0]);
  close(t.pipe_fds[1]);
  t.records.clear();
  t.input_size = 0;
  t.open = false;
}

int terminal_size_entry(int* columns, int* rows) {
  if (!g_term.open) return 1;
  *columns = g_term.columns;
  *rows = g_term.rows;
  return 0;
}

bool rect_fits(ConsoleRect r) {
  return r.left >= 0 && r.top >= 0 && r.left <= r.right && r.top <= r.bottom &&
         r.right < g_term.columns && r.bottom < g_term.rows;
}

int terminal_read_cells(ConsoleCell* dst, ConsoleRect rect) {
  TerminalState& t = g_term;
  if (!t.open || !rect_fits(rect)) return 1;
  size_t width = static_cast<size_t>(rect.right - rect.left + 1);
  for (int r = rect.top; r <= rect.bottom; ++r) {
    std::memcpy(dst, &t.screen[static_cast<size_t>(r) * t.columns + rect.left],
                width * sizeof(ConsoleCell));
    dst += width;
  }
  return 0;
}

int terminal_write_cells(const ConsoleCell* src, int src_columns, ConsoleRect rect) {
  TerminalState& t = g_term;
  if (!t.open || !rect_fits(rect) || src_columns < rect.right - rect.left + 1) return 1;
  size_t width = static_cast<size_t>(rect.right - rect.left + 1);
  for (int r = rect.top; r <= rect.bottom; ++r) {
    std::memcpy(&t.screen[static_cast<size_t>(r) * t.columns + rect.left],
                src + static_cast<size_t>(r - rect.top) * src_columns,
                width * sizeof(ConsoleCell));
  }
  // Sent at the next flush: the cursor is placed right after every update, and both go out
  // in one write.
  t.screen_dirty = true;
  return 0;
}

int terminal_set_cursor(int column, int row) {
  TerminalState& t = g_term;
  if (!t.open || column < 0 || row < 0 || column >= t.columns || row >= t.rows) return 1;
  t.cursor_column = column;
  t.cursor_row = row;
  t.cursor_moved = true;
  flush_output();
  return 0;
}

int terminal_get_cursor_info(int* size, bool* visible) {
  if (!g_term.open) return 1;
  *size = g_term.cursor_size;
  *visible = g_term.cursor_visible;
  return 0;
}

int terminal_set_cursor_info(int size, bool visible) {
  TerminalState& t = g_term;
  if (!t.open || size < 1 || size > 100) return 1;
  t.cursor_size = size;
  t.cursor_visible = visible;
  term_writer_cursor(&t.writer, size, visible, &t.out);
  flush_output();
  return 0;
}

int terminal_set_title(const char* cp866_title) {
  TerminalState& t = g_term;
  if (!t.open) return 1;
  term_title_sequence(t.profile, cp866_title, &t.out);
  flush_output();
  return 0;
}

void terminal_flush_input() {
  TerminalState& t = g_term;
  if (!t.open) return;
  tcflush(t.in_fd, TCIFLUSH);
  t.input_size = 0;
  t.records.clear();
}

int terminal_wait(int timeout_ms) {
  TerminalState& t = g_term;
  if (!t.open) return CONSOLE_WAIT_ERROR;
  flush_output();
  int64_t deadline = timeout_ms >= 0 ? now_ms() + timeout_ms : -1;
  for (;;) {
    if (g_resized) handle_resize();
    decode_input();
    // Input first, as the Win32 wait reports the console handle before the event.
    if (!t.records.empty()) return CONSOLE_WAIT_INPUT;
    if (t.wake_pending) {
      t.wake_pending = false;
      return CONSOLE_WAIT_WAKE;
    }
    int64_t now = now_ms();
    int wait_ms = -1;
    if (deadline >= 0) {
      if (now >= deadline) return CONSOLE_WAIT_TIMEOUT;
      wait_ms = static_cast<int>(deadline - now);
    }
    if (t.input_size > 0) {
      // An unfinished sequence: wait no longer than its Esc time-out.
      int64_t left = t.last_read_ms + t.esc_ms - now;
      int esc_wait = left > 0 ? static_cast<int>(left) : 0;
      if (wait_ms < 0 || esc_wait < wait_ms) wait_ms = esc_wait;
    }
    struct pollfd fds[2] = {{t.in_fd, POLLIN, 0}, {t.pipe_fds[0], POLLIN, 0}};
    int n = poll(fds, 2, wait_ms);
    if (n < 0) {
      if (errno == EINTR) continue;
      return CONSOLE_WAIT_ERROR;
    }
    if (fds[1].revents & POLLIN) t.wake_pending |= drain_pipe();
    if (fds[0].revents & POLLIN) {
      if (read_terminal() != 0) return CONSOLE_WAIT_ERROR;
    } else if (fds[0].revents & (POLLHUP | POLLERR | POLLNVAL)) {
      return CONSOLE_WAIT_ERROR;
    }
  }
}

void terminal_wake() {
  int fd = g_signal_pipe_fd;
  if (fd < 0) return;
  // A full pipe means the wake-up is signalled already.
  ssize_t ignored = write(fd, &PIPE_WAKE, 1);
  (void)ignored;
}

int terminal_peek_input(InputRecord* rec) {
  TerminalState& t = g_term;
  if (!t.open) return 0;
  flush_output();
  if (t.records.empty()) poll_input_now();
  if (t.records.empty()) return 0;
  *rec = t.records.front();
  return 1;
}

int terminal_read_input(InputRecord* rec) {
  if (terminal_peek_input(rec) == 0) return 0;
  g_term.records.pop_front();
  return 1;
}

int terminal_read_char(uint8_t* ch) {
  TerminalState& t = g_term;
  if (!t.open) return 1;
  // As the console's own character reading: key records without a character are passed
  // over, and it waits until a character comes.
  for (;;) {
    InputRecord rec;
    while (terminal_read_input(&rec) != 0) {
      if (rec.kind == INPUT_KEY && rec.key_down && rec.ch != 0) {
        *ch = rec.ch;
        return 0;
      }
    }
    if (terminal_wait(-1) == CONSOLE_WAIT_ERROR) return 1;
  }
}

void terminal_bell() {
  if (!g_term.open) return;
  g_term.out.push_back('\a');
  flush_output();
}

const ConsoleBackend TERMINAL_BACKEND = {
    "terminal",
    terminal_open,
    terminal_close,
    terminal_size_entry,
    terminal_read_cells,
    terminal_write_cells,
    terminal_set_cursor,
    terminal_get_cursor_info,
    terminal_set_cursor_info,
    terminal_set_title,
    terminal_flush_input,
    terminal_wait,
    terminal_wake,
    terminal_peek_input,
    terminal_read_input,
    terminal_read_char,
    terminal_bell,
};

}  // namespace

const ConsoleBackend* platform_console() { return &TERMINAL_BACKEND; }

}  // namespace tavrel
