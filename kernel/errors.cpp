// Texts of the kernel's return codes, in UTF-8; GETE converts them to the session's code page.
#include "kernel/errors.h"

#include "protocol/request.h"

namespace tavrel::kernel {

namespace {
struct ErrorText {
  uint32_t code;
  const char* text;
};

const ErrorText ERROR_TEXTS[] = {
    {KERNEL_NO_MORE_ROWS, "Нет больше строк"},
    {CHANNEL_UNKNOWN_COMMAND, "Неизвестная команда"},
    {CHANNEL_ANSWER_TOO_LONG, "Ответ не помещается в буфер"},
    {KERNEL_UNKNOWN_USER, "Неверное имя пользователя"},
    {KERNEL_WRONG_PASSWORD, "Неверный пароль"},
    {KERNEL_BAD_CHANNEL, "Неверный номер канала"},
    {KERNEL_TOO_MANY_SESSIONS, "Слишком много сеансов"},
    {KERNEL_INTERRUPTED, "Запрос прерван"},
    {KERNEL_MALFORMED, "Искажённый запрос"},
    {KERNEL_UNSUPPORTED, "Команда не поддерживается"},
    {KERNEL_BAD_CONNECT_STRING, "Неверная строка соединения"},
    {KERNEL_NO_SELECT, "Нет открытого запроса выборки"},
    {KERNEL_ANSWER_TOO_LONG, "Строка длиннее 65535 байт не может быть передана"},
    {KERNEL_RESULT_TOO_LARGE, "Результат выборки слишком велик"},
    {KERNEL_SQL_ERROR, "Ошибка в SQL-операторе"},
    {KERNEL_NO_OBJECT, "Объект не найден"},
    {KERNEL_CONSTRAINT, "Нарушено ограничение целостности"},
    {KERNEL_BUSY, "База данных занята"},
    {KERNEL_PROC_MISSING, "Процедура не существует"},
    {KERNEL_PROC_EXISTS, "Процедура с таким именем уже существует"},
    {KERNEL_TRIGGER_EXISTS, "Триггер с таким именем уже существует"},
    {KERNEL_TRANSLATION_ERRORS, "Ошибки трансляции"},
};
}  // namespace

const char* kernel_error_text(uint32_t code) {
  for (const ErrorText& e : ERROR_TEXTS) {
    if (e.code == code) return e.text;
  }
  return nullptr;
}

}  // namespace tavrel::kernel
