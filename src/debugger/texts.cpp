// The debugger's texts: one table in UTF-8, as they read, turned into CP866 once, on the
// first request (a function-local static, so the first use from any thread is safe).
#include "debugger/texts.h"

#include <array>
#include <cstdio>

#include "protocol/codes.h"
#include "text/unicode.h"

namespace tavrel {

namespace {

// In DebugText order.
constexpr const char* TEXTS_UTF8[TXT_COUNT] = {
    "Другая процедура находится в состоянии отладки",
    "---------- ... Исполнение ... -----------",
    "---------- ...  Ожидание  ... -----------",
    "---------- Операция прервана  -----------",
    "-----------------------------------------",
    "Процедура/триггер '%s' завершилась",
    "Возвращаемое значение",
    "Состояние исключения ",
    "Передано состояние исключения ",
    "Ошибка в запросе %d (проверьте параметры)",
    "Ошибка в условном выражении",
    "Точка останова с такими свойствами уже есть!",
    "Значение %s изменилось",
    "Ошибка при вычислении",
    "Попытка присвоения",
    "Слишком много контекстов исполнения процедур.%%Возможно, вызвана процедура с бесконечной рекурсией?",
    "Отлаживается; ",
    "Ожидание отладчика",
    "Завершена",
    "Ожидание запроса",
    "Выполняется",
    "Извне",
    "Код возврата Таврела %d",
};

// Debugger errors 1 to 17, in number order.
constexpr const char* DEBUGGER_ERRORS_UTF8[DEBUGGER_ERROR_LAST] = {
    "Неопределенная процедура",
    "Процедура отлаживается в другой сессии",
    "Процедура без отладочной информации",
    "Слишком много отлаживаемых процедур",
    "Не хватает памяти для выполнения операции",
    "Неизвестная ошибка",
    "Отладочная сессия не открыта",
    "Неверный номер строки для начала инструкции",
    "Слишком много точек останова",
    "Процедура не находится в ожидании команды от отладчика",
    "Неверная команда (внутренняя ошибка)",
    "В данной сессии имеется активная процедура,%%ждущая ответа от отладчика. Завершить ее?",
    "Неверный идентификатор процедуры",
    "Неверный параметр команды отладчика",
    "Нет доступных процедур",
    "Невозможно завершить процедуру, %%так как из нее вызвана другая",
    "%%Внутренний канал уже используется для исполнения процедуры.%%Должно быть, раньше Вы "
    "прервали ожидание завершения этой процедуры.%%Завершите эту процедуру прежде чем запускать новую.",
};

struct Converted {
  std::array<std::string, TXT_COUNT> texts;
  std::array<std::string, DEBUGGER_ERROR_LAST> errors;
};

const Converted& converted() {
  static const Converted c = [] {
    Converted out;
    for (int i = 0; i < TXT_COUNT; ++i) out.texts[i] = utf8_to_cp866(TEXTS_UTF8[i]);
    for (uint32_t i = 0; i < DEBUGGER_ERROR_LAST; ++i) out.errors[i] = utf8_to_cp866(DEBUGGER_ERRORS_UTF8[i]);
    return out;
  }();
  return c;
}

}  // namespace

const char* debug_text(DebugText text) {
  if (text < 0 || text >= TXT_COUNT) return "";
  return converted().texts[text].c_str();
}

std::string debug_text_with(DebugText text, std::string_view argument) {
  const std::string_view format = debug_text(text);
  const size_t hole = format.find("%s");
  if (hole == std::string_view::npos) return std::string(format);
  std::string out(format.substr(0, hole));
  out += argument;
  out += format.substr(hole + 2);
  return out;
}

std::string debugger_error_text(uint32_t number) {
  if (number >= DEBUGGER_ERROR_FIRST && number <= DEBUGGER_ERROR_LAST) {
    return converted().errors[number - DEBUGGER_ERROR_FIRST];
  }
  char text[96];
  std::snprintf(text, sizeof text, debug_text(TXT_KERNEL_CODE), static_cast<int>(KERNEL_DEBUGGER_ERROR));
  return text;
}

}  // namespace tavrel
