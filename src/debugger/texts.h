// The debugger's fixed texts (CP866): banners and notes of the Messages view, the refusals of
// breakpoints, the state texts of the active list, and the messages of the debugger errors
// that the kernel reports under return code 7204. "%%" inside a text is a line break of the
// message catalogue; "%s" and "%d" are filled by whoever shows the text.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tavrel {

enum DebugText : int {
  TXT_OTHER_DEBUGGED,    // Другая процедура находится в состоянии отладки
  TXT_EXECUTING,         // ---------- ... Исполнение ... -----------
  TXT_WAITING,           // ---------- ...  Ожидание  ... -----------
  TXT_INTERRUPTED,       // ---------- Операция прервана  -----------
  TXT_SEPARATOR,         // 41 dashes
  TXT_FINISHED,          // Процедура/триггер '%s' завершилась
  TXT_RETURN_VALUE,      // Возвращаемое значение
  TXT_EXCEPTION_STATE,   // "Состояние исключения " (the name follows)
  TXT_EXCEPTION_PASSED,  // "Передано состояние исключения "
  TXT_QUERY_ERROR,       // Ошибка в запросе %d (проверьте параметры)
  TXT_CONDITION_ERROR,   // Ошибка в условном выражении
  TXT_DUPLICATE,         // Точка останова с такими свойствами уже есть!
  TXT_VALUE_CHANGED,     // Значение %s изменилось
  TXT_EVAL_FAILED,       // Ошибка при вычислении
  TXT_ASSIGNMENT,        // Попытка присвоения
  TXT_ACTIVE_TOO_MANY,   // Слишком много контекстов исполнения процедур.%%...
  TXT_ACTIVE_DEBUGGED,   // "Отлаживается; "
  TXT_ACTIVE_WAIT_DEBUGGER,
  TXT_ACTIVE_FINISHED,
  TXT_ACTIVE_WAIT_REQUEST,
  TXT_ACTIVE_RUNNING,
  TXT_ACTIVE_FROM_OUTSIDE,  // Извне
  TXT_KERNEL_CODE,       // Код возврата Таврела %d (a debugger error without a text)
  TXT_COUNT
};

// The text of an entry, CP866.
const char* debug_text(DebugText text);

// The text with its "%s" replaced by the argument (a text without one comes as it is).
std::string debug_text_with(DebugText text, std::string_view argument);

// The message of a debugger error (the system code under 7204): the table's text for 1 to
// 17, any other number "Код возврата Таврела 7204".
std::string debugger_error_text(uint32_t number);

}  // namespace tavrel
