// The terminal key decoder. Three tables drive it: the keys of the PC keyboard that type each
// ASCII character (with their scan codes and virtual keys), the Latin key each Cyrillic letter
// sits on in the ЙЦУКЕН layout, and the escape sequences of the terminals we meet (xterm and
// its relatives, tmux and screen, the Linux console). The parsers only split bytes into
// sequences; what a sequence means is looked up in the tables.
#include "platform/terminal_keys.h"

#include <array>

#include "text/unicode.h"

namespace tavrel {

namespace {

constexpr uint8_t ESC = 0x1B;

// ---------------------------------------------------------------------------------------
// Characters.

// One key of the main block of a US PC keyboard: the character it types, the character it
// types with Shift, its scan code and its virtual key.
struct PcCharKey {
  char plain, shifted;
  uint8_t scan;
  uint16_t vk;
};

constexpr PcCharKey PC_CHAR_KEYS[] = {
    {'`', '~', 0x29, 0xC0},  {'1', '!', 0x02, '1'},   {'2', '@', 0x03, '2'},
    {'3', '#', 0x04, '3'},   {'4', '$', 0x05, '4'},   {'5', '%', 0x06, '5'},
    {'6', '^', 0x07, '6'},   {'7', '&', 0x08, '7'},   {'8', '*', 0x09, '8'},
    {'9', '(', 0x0A, '9'},   {'0', ')', 0x0B, '0'},   {'-', '_', 0x0C, 0xBD},
    {'=', '+', 0x0D, 0xBB},  {'q', 'Q', 0x10, 'Q'},   {'w', 'W', 0x11, 'W'},
    {'e', 'E', 0x12, 'E'},   {'r', 'R', 0x13, 'R'},   {'t', 'T', 0x14, 'T'},
    {'y', 'Y', 0x15, 'Y'},   {'u', 'U', 0x16, 'U'},   {'i', 'I', 0x17, 'I'},
    {'o', 'O', 0x18, 'O'},   {'p', 'P', 0x19, 'P'},   {'[', '{', 0x1A, 0xDB},
    {']', '}', 0x1B, 0xDD},  {'a', 'A', 0x1E, 'A'},   {'s', 'S', 0x1F, 'S'},
    {'d', 'D', 0x20, 'D'},   {'f', 'F', 0x21, 'F'},   {'g', 'G', 0x22, 'G'},
    {'h', 'H', 0x23, 'H'},   {'j', 'J', 0x24, 'J'},   {'k', 'K', 0x25, 'K'},
    {'l', 'L', 0x26, 'L'},   {';', ':', 0x27, 0xBA},  {'\'', '"', 0x28, 0xDE},
    {'\\', '|', 0x2B, 0xDC}, {'z', 'Z', 0x2C, 'Z'},   {'x', 'X', 0x2D, 'X'},
    {'c', 'C', 0x2E, 'C'},   {'v', 'V', 0x2F, 'V'},   {'b', 'B', 0x30, 'B'},
    {'n', 'N', 0x31, 'N'},   {'m', 'M', 0x32, 'M'},   {',', '<', 0x33, 0xBC},
    {'.', '>', 0x34, 0xBE},  {'/', '?', 0x35, 0xBF},  {' ', ' ', 0x39, VK_SPACE_KEY},
};

// The key of each printable ASCII character, indexed by the character (scan 0: none).
struct AsciiKey {
  uint8_t scan;
  uint16_t vk;
  bool shift;
};

constexpr std::array<AsciiKey, 128> build_ascii_keys() {
  std::array<AsciiKey, 128> keys{};
  for (const PcCharKey& k : PC_CHAR_KEYS) {
    keys[static_cast<uint8_t>(k.shifted)] = {k.scan, k.vk, k.shifted != k.plain};
    keys[static_cast<uint8_t>(k.plain)] = {k.scan, k.vk, false};
  }
  return keys;
}
constexpr std::array<AsciiKey, 128> ASCII_KEYS = build_ascii_keys();

// The Latin key under each Cyrillic letter а..я in the ЙЦУКЕН layout (ё sits on `).
constexpr char CYRILLIC_LATIN_KEYS[] = "f,dult;pbqrkvyjghcnea[wxio]sm'.z";
static_assert(sizeof(CYRILLIC_LATIN_KEYS) == 33, "one key per letter а..я");

// The Latin key that types a CP866 byte, 0 when none; *shift tells whether Shift is down.
char latin_key_of_cp866(uint8_t c, bool* shift) {
  *shift = false;
  if (c < 0x80) {
    const AsciiKey& k = ASCII_KEYS[c];
    *shift = k.shift;
    return k.scan != 0 ? static_cast<char>(c) : 0;
  }
  int letter = -1;  // 0..31 for а..я
  if (c <= 0x9F) {
    letter = c - 0x80, *shift = true;
  } else if (c <= 0xAF) {
    letter = c - 0xA0;
  } else if (c >= 0xE0 && c <= 0xEF) {
    letter = c - 0xE0 + 16;
  } else if (c == 0xF0 || c == 0xF1) {
    *shift = c == 0xF0;
    return '`';
  }
  return letter >= 0 ? CYRILLIC_LATIN_KEYS[letter] : 0;
}

InputRecord key_record(uint16_t vk, uint16_t scan, uint8_t ch, uint32_t control) {
  InputRecord r{};
  r.kind = INPUT_KEY;
  r.key_down = true;
  r.repeat = 1;
  r.virtual_key = vk;
  r.scan = scan;
  r.ch = ch;
  r.control_state = control;
  return r;
}

// Control bytes that are not Ctrl+letter. Ctrl+H and Ctrl+? both mean Backspace: terminals
// send one or the other for that key.
struct ControlByteKey {
  uint8_t byte;
  uint16_t vk;
  uint8_t scan;
  uint8_t ch;
  uint32_t control;
};

constexpr ControlByteKey CONTROL_BYTE_KEYS[] = {
    {0x00, VK_SPACE_KEY, 0x39, 0x20, CK_LEFT_CTRL},  // Ctrl+Space
    {0x08, VK_BACK_KEY, 0x0E, 0x08, 0},
    {0x09, VK_TAB_KEY, 0x0F, 0x09, 0},
    {0x0D, VK_RETURN_KEY, 0x1C, 0x0D, 0},
    {0x1B, VK_ESCAPE_KEY, 0x01, 0x1B, 0},
    {0x1C, 0xDC, 0x2B, 0x1C, CK_LEFT_CTRL},  // Ctrl+Backslash
    {0x1D, 0xDD, 0x1B, 0x1D, CK_LEFT_CTRL},  // Ctrl+]
    {0x1E, '6', 0x07, 0x1E, CK_LEFT_CTRL},   // Ctrl+^
    {0x1F, 0xBD, 0x0C, 0x1F, CK_LEFT_CTRL},  // Ctrl+_
    {0x7F, VK_BACK_KEY, 0x0E, 0x08, 0},
};

// The record of a control byte (0x00-0x1F, 0x7F): Ctrl+letter unless the table says otherwise.
InputRecord control_byte_record(uint8_t b) {
  for (const ControlByteKey& k : CONTROL_BYTE_KEYS) {
    if (k.byte == b) return key_record(k.vk, k.scan, k.ch, k.control);
  }
  const AsciiKey& letter = ASCII_KEYS['a' + b - 1];
  return key_record(letter.vk, letter.scan, b, CK_LEFT_CTRL);
}

// ---------------------------------------------------------------------------------------
// Escape sequences.

// Where a sequence starts: "ESC [", "ESC O", or the Linux console's "ESC [ [".
enum SequenceIntro : uint8_t { INTRO_CSI, INTRO_SS3, INTRO_LINUX };

// One key sequence. `number` is the first parameter of the "ESC [ n ~" forms (0 for the
// others); `control` holds modifiers the sequence itself implies. A modifier parameter m
// (xterm: "ESC [ 1 ; m A", "ESC [ n ; m ~") adds the Shift/Alt/Ctrl bits of m - 1.
struct TermSequence {
  uint8_t intro;
  char final;
  uint8_t number;
  uint16_t vk;
  uint8_t scan;
  uint8_t ch;
  bool enhanced;  // a key of the grey block
  uint32_t control;
};

constexpr TermSequence TERM_SEQUENCES[] = {
    // xterm, tmux and the Linux console, normal and application cursor mode.
    {INTRO_CSI, 'A', 0, VK_UP_KEY, 0x48, 0, true, 0},
    {INTRO_CSI, 'B', 0, VK_DOWN_KEY, 0x50, 0, true, 0},
    {INTRO_CSI, 'C', 0, VK_RIGHT_KEY, 0x4D, 0, true, 0},
    {INTRO_CSI, 'D', 0, VK_LEFT_KEY, 0x4B, 0, true, 0},
    {INTRO_CSI, 'H', 0, VK_HOME_KEY, 0x47, 0, true, 0},
    {INTRO_CSI, 'F', 0, VK_END_KEY, 0x4F, 0, true, 0},
    {INTRO_CSI, 'E', 0, VK_CLEAR_KEY, 0x4C, 0, false, 0},  // keypad 5
    {INTRO_CSI, 'G', 0, VK_CLEAR_KEY, 0x4C, 0, false, 0},  // keypad 5, Linux console
    {INTRO_CSI, 'P', 0, VK_F1_KEY + 0, 0x3B, 0, false, 0},  // with modifiers: "ESC [ 1 ; m P"
    {INTRO_CSI, 'Q', 0, VK_F1_KEY + 1, 0x3C, 0, false, 0},
    {INTRO_CSI, 'R', 0, VK_F1_KEY + 2, 0x3D, 0, false, 0},
    {INTRO_CSI, 'S', 0, VK_F1_KEY + 3, 0x3E, 0, false, 0},
    {INTRO_CSI, 'Z', 0, VK_TAB_KEY, 0x0F, 0x09, false, CK_SHIFT},  // back tab
    {INTRO_SS3, 'A', 0, VK_UP_KEY, 0x48, 0, true, 0},
    {INTRO_SS3, 'B', 0, VK_DOWN_KEY, 0x50, 0, true, 0},
    {INTRO_SS3, 'C', 0, VK_RIGHT_KEY, 0x4D, 0, true, 0},
    {INTRO_SS3, 'D', 0, VK_LEFT_KEY, 0x4B, 0, true, 0},
    {INTRO_SS3, 'H', 0, VK_HOME_KEY, 0x47, 0, true, 0},
    {INTRO_SS3, 'F', 0, VK_END_KEY, 0x4F, 0, true, 0},
    {INTRO_SS3, 'E', 0, VK_CLEAR_KEY, 0x4C, 0, false, 0},
    {INTRO_SS3, 'M', 0, VK_RETURN_KEY, 0x1C, 0x0D, true, 0},  // keypad Enter
    {INTRO_SS3, 'P', 0, VK_F1_KEY + 0, 0x3B, 0, false, 0},
    {INTRO_SS3, 'Q', 0, VK_F1_KEY + 1, 0x3C, 0, false, 0},
    {INTRO_SS3, 'R', 0, VK_F1_KEY + 2, 0x3D, 0, false, 0},
    {INTRO_SS3, 'S', 0, VK_F1_KEY + 3, 0x3E, 0, false, 0},
    // "ESC [ n ~" (VT220 style; 7 and 8 are rxvt's Home and End).
    {INTRO_CSI, '~', 1, VK_HOME_KEY, 0x47, 0, true, 0},
    {INTRO_CSI, '~', 2, VK_INSERT_KEY, 0x52, 0, true, 0},
    {INTRO_CSI, '~', 3, VK_DELETE_KEY, 0x53, 0, true, 0},
    {INTRO_CSI, '~', 4, VK_END_KEY, 0x4F, 0, true, 0},
    {INTRO_CSI, '~', 5, VK_PRIOR_KEY, 0x49, 0, true, 0},
    {INTRO_CSI, '~', 6, VK_NEXT_KEY, 0x51, 0, true, 0},
    {INTRO_CSI, '~', 7, VK_HOME_KEY, 0x47, 0, true, 0},
    {INTRO_CSI, '~', 8, VK_END_KEY, 0x4F, 0, true, 0},
    {INTRO_CSI, '~', 11, VK_F1_KEY + 0, 0x3B, 0, false, 0},
    {INTRO_CSI, '~', 12, VK_F1_KEY + 1, 0x3C, 0, false, 0},
    {INTRO_CSI, '~', 13, VK_F1_KEY + 2, 0x3D, 0, false, 0},
    {INTRO_CSI, '~', 14, VK_F1_KEY + 3, 0x3E, 0, false, 0},
    {INTRO_CSI, '~', 15, VK_F1_KEY + 4, 0x3F, 0, false, 0},
    {INTRO_CSI, '~', 17, VK_F1_KEY + 5, 0x40, 0, false, 0},
    {INTRO_CSI, '~', 18, VK_F1_KEY + 6, 0x41, 0, false, 0},
    {INTRO_CSI, '~', 19, VK_F1_KEY + 7, 0x42, 0, false, 0},
    {INTRO_CSI, '~', 20, VK_F1_KEY + 8, 0x43, 0, false, 0},
    {INTRO_CSI, '~', 21, VK_F1_KEY + 9, 0x44, 0, false, 0},
    {INTRO_CSI, '~', 23, VK_F1_KEY + 10, 0x57, 0, false, 0},
    {INTRO_CSI, '~', 24, VK_F1_KEY + 11, 0x58, 0, false, 0},
    // The Linux console and rxvt send Shift+F3..Shift+F10 as F13..F20 (Shift+F1 and Shift+F2
    // come as F11 and F12 there and cannot be told apart).
    {INTRO_CSI, '~', 25, VK_F1_KEY + 2, 0x3D, 0, false, CK_SHIFT},
    {INTRO_CSI, '~', 26, VK_F1_KEY + 3, 0x3E, 0, false, CK_SHIFT},
    {INTRO_CSI, '~', 28, VK_F1_KEY + 4, 0x3F, 0, false, CK_SHIFT},
    {INTRO_CSI, '~', 29, VK_F1_KEY + 5, 0x40, 0, false, CK_SHIFT},
    {INTRO_CSI, '~', 31, VK_F1_KEY + 6, 0x41, 0, false, CK_SHIFT},
    {INTRO_CSI, '~', 32, VK_F1_KEY + 7, 0x42, 0, false, CK_SHIFT},
    {INTRO_CSI, '~', 33, VK_F1_KEY + 8, 0x43, 0, false, CK_SHIFT},
    {INTRO_CSI, '~', 34, VK_F1_KEY + 9, 0x44, 0, false, CK_SHIFT},
    // The Linux console's F1-F5.
    {INTRO_LINUX, 'A', 0, VK_F1_KEY + 0, 0x3B, 0, false, 0},
    {INTRO_LINUX, 'B', 0, VK_F1_KEY + 1, 0x3C, 0, false, 0},
    {INTRO_LINUX, 'C', 0, VK_F1_KEY + 2, 0x3D, 0, false, 0},
    {INTRO_LINUX, 'D', 0, VK_F1_KEY + 3, 0x3E, 0, false, 0},
    {INTRO_LINUX, 'E', 0, VK_F1_KEY + 4, 0x3F, 0, false, 0},
};

// The Shift/Alt/Ctrl bits of an xterm modifier parameter (1 + the sum of Shift 1, Alt 2,
// Ctrl 4, Meta 8; Meta counts as Alt).
uint32_t modifier_control_state(int parameter) {
  if (parameter < 2) return 0;
  int bits = parameter - 1;
  uint32_t control = 0;
  if (bits & 1) control |= CK_SHIFT;
  if (bits & (2 | 8)) control |= CK_LEFT_ALT;
  if (bits & 4) control |= CK_LEFT_CTRL;
  return control;
}

constexpr int MAX_PARAMS = 4;
constexpr size_t MAX_SEQUENCE = 64;  // longer "sequences" are noise

enum ParseOutcome { PARSE_DONE, PARSE_INCOMPLETE, PARSE_INVALID };

// A sequence split into its parts.
struct Sequence {
  uint8_t intro;
  char marker;  // a private marker such as '<' or '?', else 0
  int params[MAX_PARAMS];  // absent parameters are -1
  int param_count;
  char final;
  size_t length;  // bytes, ESC included
};

// Splits the sequence at data (data[0] is ESC, data[1] is '[' or 'O').
int parse_sequence(const uint8_t* data, size_t size, Sequence* seq) {
  *seq = Sequence{};
  for (int& p : seq->params) p = -1;
  size_t i = 2;
  if (data[1] == 'O') {
    seq->intro = INTRO_SS3;
  } else {
    seq->intro = INTRO_CSI;
    if (i < size && data[i] == '[') {  // ESC [ [ letter
      if (i + 1 >= size) return PARSE_INCOMPLETE;
      if (data[i + 1] < 0x40 || data[i + 1] > 0x7E) return PARSE_INVALID;
      seq->intro = INTRO_LINUX;
      seq->final = static_cast<char>(data[i + 1]);
      seq->length = i + 2;
      return PARSE_DONE;
    }
    if (i < size && data[i] >= '<' && data[i] <= '?') seq->marker = static_cast<char>(data[i++]);
  }
  bool in_sub = false;  // inside a ':' sub-parameter, which is skipped
  for (; i < size && i < MAX_SEQUENCE; ++i) {
    uint8_t b = data[i];
    if (b >= '0' && b <= '9') {
      if (in_sub) continue;
      if (seq->param_count == 0) seq->param_count = 1;
      int& p = seq->params[seq->param_count - 1];
      p = p < 0 ? b - '0' : (p >= 100000 ? p : p * 10 + (b - '0'));
    } else if (b == ';') {
      in_sub = false;
      if (seq->param_count == 0) seq->param_count = 1;
      if (seq->param_count < MAX_PARAMS) ++seq->param_count;
    } else if (b == ':') {
      in_sub = true;
    } else if (b >= 0x20 && b <= 0x2F) {
      // intermediate bytes: allowed, not used by any key
    } else if (b >= 0x40 && b <= 0x7E) {
      seq->final = static_cast<char>(b);
      seq->length = i + 1;
      return PARSE_DONE;
    } else {
      return PARSE_INVALID;
    }
  }
  return i >= MAX_SEQUENCE ? PARSE_INVALID : PARSE_INCOMPLETE;
}

const TermSequence* find_sequence(uint8_t intro, char final, int number) {
  for (const TermSequence& s : TERM_SEQUENCES) {
    if (s.intro == intro && s.final == final && s.number == number) return &s;
  }
  return nullptr;
}

// A mouse report: button code b (xterm's: low bits the button, 4 Shift, 8 Alt, 16 Ctrl,
// 32 motion, 64 wheel), 1-based column and row, press or release.
InputRecord mouse_record(int b, int x, int y, bool release, TermInputState* state) {
  InputRecord r{};
  r.kind = INPUT_MOUSE;
  r.mouse_x = static_cast<int16_t>(x > 0 ? x - 1 : 0);
  r.mouse_y = static_cast<int16_t>(y > 0 ? y - 1 : 0);
  if (b & 4) r.control_state |= CK_SHIFT;
  if (b & 8) r.control_state |= CK_LEFT_ALT;
  if (b & 16) r.control_state |= CK_LEFT_CTRL;
  static constexpr uint32_t BUTTON_BITS[4] = {MOUSE_LEFT, MOUSE_MIDDLE, MOUSE_RIGHT, 0};
  uint32_t button = BUTTON_BITS[b & 3];
  if (b & 64) {
    // The wheel: the Win32 record carries the distance in the high word, 120 per notch,
    // positive away from the user.
    constexpr uint32_t NOTCH = 120;
    r.event_flags = MOUSE_WHEELED_FLAG;
    r.button_state = state->mouse_buttons | (((b & 1) ? 0x10000u - NOTCH : NOTCH) << 16);
    return r;
  }
  if (b & 32) {
    r.event_flags = MOUSE_MOVED_FLAG;
  } else if (release) {
    // A release report of the legacy encoding does not say which button: all are up.
    state->mouse_buttons = button != 0 ? state->mouse_buttons & ~button : 0;
  } else {
    state->mouse_buttons |= button;
  }
  r.button_state = state->mouse_buttons;
  return r;
}

void accept(TermDecodeResult* out, size_t consumed, const InputRecord* rec) {
  out->status = TERM_DECODE_ACCEPT;
  out->consumed = static_cast<int>(consumed);
  out->count = rec != nullptr ? 1 : 0;
  if (rec != nullptr) out->record = *rec;
}

// The record of a character named by its code point with modifiers (xterm's
// "ESC [ 27 ; m ; c ~" and "ESC [ c ; m u" forms); false when CP866 lacks it.
bool coded_char_record(int code_point, uint32_t control, InputRecord* rec) {
  if (code_point < 0) return false;
  if (code_point == 0x1B || code_point == 0x09 || code_point == 0x0D || code_point == 0x7F ||
      code_point == 0x08) {
    *rec = control_byte_record(static_cast<uint8_t>(code_point));
    rec->control_state |= control;
    return true;
  }
  int c = unicode_to_cp866(static_cast<uint32_t>(code_point));
  if (c < 0x20 || c == 0x7F) return false;
  *rec = term_char_record(static_cast<uint8_t>(c), control);
  if ((control & CK_LEFT_CTRL) && ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'))) {
    rec->ch = static_cast<uint8_t>(c & 0x1F);
  }
  return true;
}

// Decodes a complete sequence into *rec; false when it names no key (the caller drops it).
bool sequence_record(const Sequence& seq, const uint8_t* data, size_t size, size_t* length,
                     TermInputState* state, InputRecord* rec, bool* need_more) {
  *need_more = false;
  if (seq.intro == INTRO_CSI && seq.marker == '<' && (seq.final == 'M' || seq.final == 'm')) {
    if (seq.param_count < 3) return false;
    *rec = mouse_record(seq.params[0], seq.params[1], seq.params[2], seq.final == 'm', state);
    return true;
  }
  if (seq.intro == INTRO_CSI && seq.marker == 0 && seq.final == 'M' && seq.param_count == 0) {
    // Legacy mouse report: ESC [ M and three bytes, each value + 32.
    if (size < seq.length + 3) {
      *need_more = true;
      return false;
    }
    const uint8_t* p = data + seq.length;
    *length = seq.length + 3;
    int b = p[0] - 32;
    if (b < 0) return false;
    *rec = mouse_record(b, p[1] - 32, p[2] - 32, (b & 3) == 3 && !(b & 64), state);
    return true;
  }
  if (seq.marker != 0) return false;  // replies and private reports: not keys
  int first = seq.params[0];
  if (seq.intro == INTRO_CSI && seq.final == 'u') {
    return coded_char_record(first, modifier_control_state(seq.params[1]), rec);
  }
  if (seq.intro == INTRO_CSI && seq.final == '~' && first == 27) {
    return coded_char_record(seq.params[2], modifier_control_state(seq.params[1]), rec);
  }
  int number = 0;
  int modifier = -1;
  if (seq.final == '~') {
    number = first;
    modifier = seq.params[1];
  } else if (seq.param_count >= 2) {
    modifier = seq.params[1];  // ESC [ 1 ; m A
  } else if (seq.intro == INTRO_SS3) {
    modifier = first;  // ESC O m P, as some terminals send modified F1-F4
  }
  if (number < 0 || number > 255) return false;
  const TermSequence* s = find_sequence(seq.intro, seq.final, number);
  if (s == nullptr) return false;
  uint32_t control = s->control | modifier_control_state(modifier);
  if (s->enhanced) control |= CK_ENHANCED;
  *rec = key_record(s->vk, s->scan, s->ch, control);
  return true;
}

// Decodes the bytes at data when they do not begin with ESC.
void decode_plain(const uint8_t* data, size_t size, bool final, TermDecodeResult* out) {
  uint8_t b = data[0];
  if (b < 0x20 || b == 0x7F) {
    InputRecord rec = control_byte_record(b);
    accept(out, 1, &rec);
    return;
  }
  uint32_t cp = 0;
  int n = utf8_decode(std::string_view(reinterpret_cast<const char*>(data), size), &cp);
  if (n == 0) {
    if (final) {
      out->status = TERM_DECODE_REJECT;
      out->consumed = static_cast<int>(size);
    } else {
      out->status = TERM_DECODE_NEED_MORE;
    }
    return;
  }
  // Malformed UTF-8 arrives as U+FFFD, which no cell shows: dropped like any such character.
  int c = unicode_to_cp866(cp);
  if (c < 0x20) {
    out->status = TERM_DECODE_REJECT;
    out->consumed = n;
    return;
  }
  InputRecord rec = term_char_record(static_cast<uint8_t>(c), 0);
  accept(out, static_cast<size_t>(n), &rec);
}

}  // namespace

InputRecord term_char_record(uint8_t cp866, uint32_t control_state) {
  bool shift = false;
  char latin = latin_key_of_cp866(cp866, &shift);
  uint16_t scan = 0, vk = 0;
  if (latin != 0) {
    const AsciiKey& k = ASCII_KEYS[static_cast<uint8_t>(latin)];
    scan = k.scan, vk = k.vk;
  }
  return key_record(vk, scan, cp866, control_state | (shift ? CK_SHIFT : 0));
}

void term_decode_input(const uint8_t* data, size_t size, bool final, TermInputState* state,
                       TermDecodeResult* out) {
  *out = TermDecodeResult{};
  if (size == 0) {
    out->status = TERM_DECODE_NEED_MORE;
    return;
  }
  if (data[0] != ESC) {
    decode_plain(data, size, final, out);
    return;
  }
  if (size == 1) {
    if (final) {
      InputRecord rec = control_byte_record(ESC);
      accept(out, 1, &rec);
    } else {
      out->status = TERM_DECODE_NEED_MORE;
    }
    return;
  }
  if (data[1] == '[' || data[1] == 'O') {
    Sequence seq;
    int outcome = parse_sequence(data, size, &seq);
    if (outcome == PARSE_INCOMPLETE && !final) {
      out->status = TERM_DECODE_NEED_MORE;
      return;
    }
    if (outcome == PARSE_DONE) {
      size_t length = seq.length;
      InputRecord rec;
      bool need_more = false;
      bool known = sequence_record(seq, data, size, &length, state, &rec, &need_more);
      if (need_more && !final) {
        out->status = TERM_DECODE_NEED_MORE;
        return;
      }
      if (!need_more) {
        accept(out, length, known ? &rec : nullptr);
        return;
      }
    }
    // A cut or broken sequence: ESC [ or ESC O was Alt+[ or Alt+O, typed quickly.
  }
  // ESC and a key: that key with Alt. Two ESCs in a row are two Esc presses unless a
  // sequence follows the second one (ESC ESC [ A is Alt+Up for some terminals).
  TermDecodeResult inner;
  term_decode_input(data + 1, size - 1, final, state, &inner);
  if (inner.status == TERM_DECODE_NEED_MORE) {
    out->status = TERM_DECODE_NEED_MORE;
    return;
  }
  bool lone_esc = data[1] == ESC && inner.consumed == 1;
  if (inner.status != TERM_DECODE_ACCEPT || inner.count == 0 || lone_esc ||
      inner.record.kind != INPUT_KEY) {
    InputRecord rec = control_byte_record(ESC);
    accept(out, 1, &rec);
    return;
  }
  inner.record.control_state |= CK_LEFT_ALT;
  accept(out, static_cast<size_t>(inner.consumed) + 1, &inner.record);
}

}  // namespace tavrel
