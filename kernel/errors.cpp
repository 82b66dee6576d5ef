// Texts of the kernel's return codes, in UTF-8; GETE converts them to the session's code page.
#include "kernel/errors.h"

namespace tavrel {

namespace {
struct ErrorText {
  uint32_t code;
  const char* text;
};

const ErrorText ERROR_TEXTS[] = {
    {2, "Нет больше строк"},
    {1000, "Неизвестная команда"},
    {1014, "Ответ не помещается в буфер"},
    {1025, "Неверное имя пользователя"},
    {1026, "Неверный пароль"},
    {1069, "Неверный номер канала"},
    {1070, "Слишком много сеансов"},
    {1071, "Запрос прерван"},
    {1072, "Искажённый запрос"},
    {1073, "Команда не поддерживается"},
    {1074, "Неверная строка соединения"},
    {1075, "Нет открытого запроса выборки"},
    {2001, "Ошибка в SQL-операторе"},
    {2002, "Объект не найден"},
    {2003, "Нарушено ограничение целостности"},
    {2004, "База данных занята"},
    {2229, "Процедура не существует"},
    {2245, "Процедура с таким именем уже существует"},
    {2257, "Триггер с таким именем уже существует"},
    {7200, "Ошибки трансляции"},
};
}  // namespace

const char* kernel_error_text(uint32_t code) {
  for (const ErrorText& e : ERROR_TEXTS) {
    if (e.code == code) return e.text;
  }
  return nullptr;
}

}  // namespace tavrel
