// The message catalogue: one table of slot and text, in slot order. The texts are kept
// here in UTF-8, as they read, and converted to CP866 once, on the first request.
#include "tui/messages.h"

#include <string>

#include "text/unicode.h"

namespace tavrel {

namespace {

struct Message {
  int slot;
  const char* utf8;
};

// In slot order (message_text searches it by halving).
const Message MESSAGES[] = {
    // The shell: title, version banner, exits, help errors, the calculator.
    {MSG_TITLE_LINE, "Менеджер хранимых процедур в.1.00    СУБД Таврел в%d.%d"},
    {MSG_VERSION_BANNER, " Менеджер хранимых процедур в.1.00    СУБД Таврел в%d.%d"},
    {MSG_CONSOLE_TITLE, "Менеджер Хранимых Процедур Таврел"},
    {MSG_NO_MEMORY_EXIT, " Недостаточно памяти для правильной работы программы !"},
    {MSG_HELP_TOPIC_MISSING, "Отсутствует пункт помощи с номером %d"},
    {MSG_HELP_BAD_FORMAT, "Неверный формат hlp-файла"},
    {MSG_HELP_OPEN_FAILED, "Ошибка открытия hlp-файла."},
    {MSG_CALC_TITLE, " Вычисление : "},
    {MSG_CALC_FORMULA, "Формула"},
    {MSG_CALC_RESULT, "Результат"},
    {MSG_CALC_FAILED, "Ошибка при вычислении"},
    {MSG_CALC_ASSIGNMENT, "Попытка присвоения"},
    {MSG_EXIT, "Выход"},
    // The main menu.
    {MSG_MENU_FILE, " Файл "},
    {MSG_MENU_OPEN_PROC, "Открыть процедуру...  F3"},
    {MSG_MENU_OPEN_TRIGGER, "Открыть триггер...    "},
    {MSG_MENU_READ_FILE, "Прочитать из файла... Alt+F3"},
    {MSG_MENU_NEW_PROC, "Новая процедура..."},
    {MSG_MENU_NEW_TRIGGER, "Новый триггер..."},
    {MSG_MENU_SAVE, "Обработать,сохранить  F2"},
    {MSG_MENU_SAVE_FILE, "Сохранить в файле...  Alt+F2"},
    {MSG_MENU_FILE_SEPARATOR, "----------------------------"},
    {MSG_MENU_EXIT, "Выход                 Alt+X"},
    {MSG_MENU_EDITOR, " Редактор "},
    {MSG_MENU_MARK_BLOCK, "Отметка блока       Alt+M    "},
    {MSG_MENU_COPY_BLOCK, "Поместить в карман  Alt+C    "},
    {MSG_MENU_PASTE_BLOCK, "Взять из кармана    Alt+P    "},
    {MSG_MENU_DELETE_BLOCK, "Удалить блок        Alt+D    "},
    {MSG_MENU_UNMARK_BLOCK, "Снять отметку       Alt+U    "},
    {MSG_MENU_SHIFT_LEFT, "Сдвинуть влево      Shift+F4 "},
    {MSG_MENU_SHIFT_RIGHT, "Сдвинуть вправо     Shift+F5 "},
    {MSG_MENU_EDITOR_SEPARATOR, "-----------------------------"},
    {MSG_MENU_FIND, "Найти               Alt+S"},
    {MSG_MENU_FIND_NEXT, "Найти следующее     Alt+N"},
    {MSG_MENU_DEBUGGER, " Отладчик "},
    {MSG_MENU_OPEN_SESSION, "Открыть отладочную сессию  F4"},
    {MSG_MENU_CLOSE_SESSION, "Закрыть отладочную сессию  Ctrl+F4"},
    {MSG_MENU_DEBUGGER_SEPARATOR, "-----------------------------"},
    {MSG_MENU_TOGGLE_BREAKPOINT, "Переключить точку останова Ctrl+F8"},
    {MSG_MENU_RUN, "Пуск                       F9"},
    {MSG_MENU_WAIT_PROC, "Ждать процедуру/триггер    Ctrl+F9"},
    {MSG_MENU_CATCH_ANY, "Ловить любую из открытых   Alt+F9"},
    {MSG_MENU_TRACE, "Трассировка                F7"},
    {MSG_MENU_STEP, "Шаг                        F8"},
    {MSG_MENU_RUN_TO_RETURN, "Пуск до возврата           Shift+F10"},
    {MSG_MENU_RUN_TO_CURSOR, "Пуск до курсора            Ctrl+F10"},
    {MSG_MENU_STOP, "Остановить                 Ctrl+F2"},
    {MSG_MENU_MONITOR, "Открыть Монитор            Ctrl+F7"},
    {MSG_MENU_EVALUATE, "Вычислить выражение...     Shift+F9"},
    {MSG_MENU_CALL_STACK, "Стек вызова                Ctrl+F3"},
    {MSG_MENU_BREAKPOINTS, "Точки останова...          Alt+F8"},
    {MSG_MENU_WINDOW, " Окно "},
    {MSG_MENU_PREVIOUS, "Предыдущее   Alt+F6"},
    {MSG_MENU_NEXT, "Следующее    F6"},
    {MSG_MENU_CASCADE, "Каскад"},
    {MSG_MENU_ZOOM, "Распахнуть   F5"},
    {MSG_MENU_MOVE, "Переместить  Ctrl+F5"},
    {MSG_MENU_RESIZE, "Размеры      Ctrl+F6"},
    {MSG_MENU_CLOSE, "Закрыть      Esc"},
    {MSG_MENU_WINDOW_SEPARATOR, "--------------------------------------"},
    {MSG_MENU_WINDOW_ITEM, "%2d: %c %s "},
    {MSG_MENU_MORE, "Другие    > "},
    {MSG_MENU_UTILITIES, "Утилиты"},
    {MSG_MENU_DROP_PROC, "Удалить процедуру"},
    {MSG_MENU_DROP_TRIGGER, "Удалить триггер"},
    {MSG_MENU_ACTIVE_PROCS, "Список активных процедур"},
    {MSG_MENU_EVALUATE_PLAIN, "Вычислить выражение..."},
    // Login and waiting for the server.
    {MSG_LOGIN_TITLE, " Регистрация пользователя "},
    {MSG_LOGIN_USER, "Пользователь :"},
    {MSG_LOGIN_PASSWORD, "Пароль       :"},
    {MSG_LOGIN_SERVER, "Таврел-сервер:"},
    {MSG_LOGIN_DENIED, "Доступ запрещен!"},
    {MSG_WAIT_SERVER, " Ожидание ответа от сервера БД"},
    {MSG_WAIT_ESC, "      <ESC> - прервать"},
    // The user-interface library: colour schemes, buttons, notices, help, the file dialog.
    {MSG_SCHEME_CYAN, "Циан"},
    {MSG_SCHEME_GREY, "Серая"},
    {MSG_SCHEME_BLUE, "Голубая"},
    {MSG_SCHEME_BLACK, "Чеpная"},
    {MSG_YES, " Да "},
    {MSG_NO, " Нет "},
    {MSG_CONTINUE, " Продолжить "},
    {MSG_TOO_MANY_WINDOWS, "Слишком много окон!"},
    {MSG_DEBUG_ON_MARK, "√ Отладка вкл."},
    {MSG_HELP_GENERAL_HINT, "F1-общая справка"},
    {MSG_HELP_PREVIOUS_HINT, "Alt-F1-пред. спр."},
    {MSG_FILE_CHOICE_TITLE, " Выбор файла "},
    {MSG_FILE_NAME, "Имя файла"},
    {MSG_FILE_OPEN, " Открыть "},
    {MSG_FILE_CANCEL, " Отмена "},
    {MSG_FILE_DIRECTORY, "Каталог: "},
    {MSG_HELP_TITLE, " Помощь "},
    // Hint lines.
    {MSG_HINT_MENU, "|МЕНЮ| "},
    {MSG_HINT_CHOOSE, "~Enter~ Выбор "},
    {MSG_HINT_PROC_CHOICE, "|ВЫБОР ПРОЦЕДУРЫ| "},
    {MSG_HINT_CANCEL, "~Esc~ Отмена"},
    {MSG_HINT_CODE_EDITOR, "|РЕДАКТОР КОДА| ~F10~ Меню "},
    {MSG_HINT_SAVE, "~F2~ Сохранить "},
    {MSG_HINT_DEBUG, "~F4~ Отладка "},
    {MSG_HINT_RUN_BANG, "~F9~ Пуск! "},
    {MSG_HINT_CLOSE, "~Esc~ Закрыть "},
    {MSG_HINT_DEBUG_EDITOR, "|ОТЛАДКА| ~F10~ Меню "},
    {MSG_HINT_STEP, "~F8~ Шаг "},
    {MSG_HINT_RUN, "~F9~ Пуск "},
    {MSG_HINT_BREAKPOINT, "~Ctrl+F8~ Т.ост. "},
    {MSG_HINT_STOP, "~Ctrl+F2~ Стоп "},
    {MSG_HINT_DEBUG_OFF, "~Ctrl+F4~ Выкл.отл. "},
    {MSG_HINT_CLOSE_MORE, "~Esc~ Закрыть..."},
    {MSG_HINT_MESSAGES, "|СООБЩЕНИЯ| ~F10~ Меню "},
    {MSG_HINT_NEXT_WINDOW, "~F6~ След. окно "},
    {MSG_HINT_PREVIOUS_WINDOW, "~Alt+F6~ Пред. окно "},
    {MSG_HINT_LOCALS, "|ЛОКАЛЬНЫЕ| ~F10~ Меню "},
    {MSG_HINT_STACK, "|СТЕК| ~F10~ Меню "},
    {MSG_HINT_SWITCH_CONTEXT, "~Enter~ Перекл. контекст "},
    {MSG_HINT_NEXT_WINDOW_MORE, "~F6~ След. окно ..."},
    {MSG_HINT_MONITOR, "|МОНИТОР| ~F10~ Меню "},
    {MSG_HINT_ADD, "~Ctrl+F7~ Добавить "},
    {MSG_HINT_DELETE, "~Alt+D~ Удалить "},
    {MSG_HINT_CLOSE_DOTS, "~Esc~ Закрыть ..."},
    {MSG_HINT_ERRORS, "|ОШИБКИ| ~F10~ Меню "},
    {MSG_HINT_GO_TO_LINE, "~Enter~ Перейти на строку "},
    {MSG_HINT_BREAKPOINTS, "|ТОЧКИ ОСТАНОВА| ~Enter~ Вкл/Выкл "},
    {MSG_HINT_CLOSE_PLAIN, "~Esc~ Закрыть"},
    {MSG_HINT_BREAKPOINTS_EDIT, "|ТОЧКИ ОСТАНОВА| ~Enter~ Св-ва/новая "},
    {MSG_HINT_BREAKPOINT_PROPS, "|СВОЙСТВА ТОЧКИ ОСТАНОВА| Введите св-ва. Для выбора процедуры исп. ~Enter~ "},
    {MSG_HINT_ACTIVE_PROCS, "|СПИСОК АКТИВНЫХ ПРОЦЕДУР| Вы можете просмотреть список и завершить проце"},
    {MSG_HINT_NEW_PROC, "|НОВАЯ ПРОЦЕДУРА| Введите имя новой процедуры. "},
    {MSG_HINT_FILE_CHOICE, "|ВЫБОР ФАЙЛА| Выберите имя существующего файла или введите имя вручную. "},
    // Procedure lists, source templates, create and drop, running with parameters.
    {MSG_LIST_PROCEDURES, " Процедуры "},
    {MSG_LIST_TRIGGERS, " Триггеры "},
    {MSG_NO_PROCEDURES, "Нет доступных процедур"},
    {MSG_NO_TRIGGERS, "Нет доступных триггеров"},
    {MSG_NEW_PROC_TITLE, "Новая процедура"},
    {MSG_PROC_NAME, "Имя процедуры"},
    {MSG_DEBUG_INFO, "Отладочная информация"},
    {MSG_CREATE, " Создать "},
    {MSG_CANCEL, " Отмена "},
    {MSG_NAME_EMPTY, "Имя процедуры/триггера должно быть не пустым"},
    {MSG_NEW_TRIGGER_TITLE, "Новый триггер"},
    {MSG_TRIGGER_NAME, "Имя триггера"},
    {MSG_TABLE_NAME, "Имя таблицы"},
    {MSG_TRIGGER_TIME, " Время "},
    {MSG_TRIGGER_BEFORE, "До      "},
    {MSG_TRIGGER_AFTER, "После   "},
    {MSG_TRIGGER_OPERATION, " Операция "},
    {MSG_TRIGGER_UPDATE, "Update   "},
    {MSG_TRIGGER_INSERT, "Insert   "},
    {MSG_TRIGGER_DELETE, "Delete   "},
    {MSG_TRIGGER_ACTION, " Действие "},
    {MSG_TRIGGER_EACH_ROW, "На каждую строку    "},
    {MSG_TRIGGER_EACH_STATEMENT, "На каждый запрос   "},
    {MSG_TRIGGER_NAMES_EMPTY, "Имя триггера и имя таблицы должны быть указаны"},
    {MSG_LONG_LINES_CUT, "Процедура включает длинные строки - они были обрезаны"},
    {MSG_LONG_LINES_WRAPPED, "Процедура включает длинные строки - они были перенесены"},
    {MSG_NO_HEAD_STATEMENT, "В тексте отсутствует процедурное/триггерное предложение"},
    {MSG_UNKNOWN_NAME, "<НЕИЗВЕСТНОЕ>"},
    {MSG_PROC_EXISTS, "Процедура с таким именем существует. Пересоздать?"},
    {MSG_TRIGGER_EXISTS, "Триггер с таким именем существует. Пересоздать?"},
    {MSG_DROP_PROC_SURE, "Удалить процедуру. Вы уверены?"},
    {MSG_DROP_TRIGGER_SURE, "Удалить триггер. Вы уверены?"},
    {MSG_RUN, "Пуск"},
    {MSG_INPUT_PARAMETERS, "Входные параметры"},
    {MSG_PREVIOUS_INPUT, "Предыдущий ввод"},
    {MSG_NAME, "Имя"},
    {MSG_VALUE, "Значение"},
    {MSG_ENTER, " Ввод "},
    {MSG_QUERY_ERROR, "Ошибка в запросе %d (проверьте параметры)"},
    {MSG_PROC_FINISHED, "Процедура/триггер '%s' завершилась"},
    {MSG_RETURN_VALUE, "Возвращаемое значение"},
    // The debugger: session, breakpoints, views, active procedures.
    {MSG_OTHER_PROC_DEBUGGED, "Другая процедура находится в состоянии отладки"},
    {MSG_EXECUTING, "---------- ... Исполнение ... -----------"},
    {MSG_WAITING, "---------- ...  Ожидание  ... -----------"},
    {MSG_INTERRUPTED, "---------- Операция прервана  -----------"},
    {MSG_EXCEPTION_PASSED, "Передано состояние исключения "},
    {MSG_EXCEPTION_STATE, "Состояние исключения "},
    {MSG_DBG_UNDEFINED_PROC, "Неопределенная процедура"},
    {MSG_DBG_OTHER_SESSION, "Процедура отлаживается в другой сессии"},
    {MSG_DBG_NO_DEBUG_INFO, "Процедура без отладочной информации"},
    {MSG_DBG_TOO_MANY_PROCS, "Слишком много отлаживаемых процедур"},
    {MSG_DBG_NO_MEMORY, "Не хватает памяти для выполнения операции"},
    {MSG_DBG_UNKNOWN_ERROR, "Неизвестная ошибка"},
    {MSG_DBG_NOT_OPEN, "Отладочная сессия не открыта"},
    {MSG_DBG_BAD_LINE, "Неверный номер строки для начала инструкции"},
    {MSG_DBG_TOO_MANY_BREAKPOINTS, "Слишком много точек останова"},
    {MSG_DBG_NOT_WAITING, "Процедура не находится в ожидании команды от отладчика"},
    {MSG_DBG_BAD_COMMAND, "Неверная команда (внутренняя ошибка)"},
    {MSG_DBG_ACTIVE_WAITING, "В данной сессии имеется активная процедура,%%ждущая ответа от отладчика. Завершить ее?"},
    {MSG_DBG_BAD_PROC_ID, "Неверный идентификатор процедуры"},
    {MSG_DBG_BAD_PARAMETER, "Неверный параметр команды отладчика"},
    {MSG_DBG_CANNOT_END, "Невозможно завершить процедуру, %%так как из нее вызвана другая"},
    {MSG_DBG_CHANNEL_BUSY, "%%Внутренний канал уже используется для исполнения процедуры.%%Должно быть, раньше Вы прервали ожидание завершения этой процедуры.%%Завершите эту процедуру прежде чем запускать новую."},
    {MSG_DBG_KERNEL_CODE, "Код возврата Таврела %d"},
    {MSG_STEP, "Шаг"},
    {MSG_BREAKPOINTS_TITLE, "Точки останова"},
    {MSG_BREAKPOINT_PROPS_TITLE, "Свойства точки останова"},
    {MSG_BP_PROCEDURE, "Процедура"},
    {MSG_BP_TYPE, "Тип"},
    {MSG_BP_PLAIN, " Обычная"},
    {MSG_BP_CONDITIONAL, " Условная"},
    {MSG_BP_ON_CHANGE, " На изменение значения"},
    {MSG_BP_LINE, "Номер строки"},
    {MSG_BP_CONDITION, "Условие"},
    {MSG_BP_CONDITION_ERROR, "Ошибка в условном выражении"},
    {MSG_BP_DUPLICATE, "Точка останова с такими свойствами уже есть!"},
    {MSG_BP_VALUE_CHANGED, "Значение %s изменилось"},
    {MSG_VIEW_MESSAGES, " Сообщения "},
    {MSG_VIEW_EXPRESSION, "Выражение"},
    {MSG_VIEW_PARAMETER, "Параметр"},
    {MSG_VIEW_DEBUG_MARK, "(ОТЛАДКА)"},
    {MSG_ACTIVE_REFRESH, " Обновить "},
    {MSG_ACTIVE_END_PROC, " Завершить процедуру "},
    {MSG_ACTIVE_TOO_MANY, "Слишком много контекстов исполнения процедур.%%Возможно, вызвана процедура с бесконечной рекурсией?"},
    {MSG_ACTIVE_ID, "IDвып"},
    {MSG_ACTIVE_STATE, "Состояние"},
    {MSG_ACTIVE_DEBUGGED, "Отлаживается; "},
    {MSG_ACTIVE_WAIT_DEBUGGER, "Ожидание отладчика"},
    {MSG_ACTIVE_FINISHED, "Завершена"},
    {MSG_ACTIVE_WAIT_REQUEST, "Ожидание запроса"},
    {MSG_ACTIVE_RUNNING, "Выполняется"},
    {MSG_ACTIVE_QUANTA, "Кванты"},
    {MSG_ACTIVE_CALLER, "Вызвал"},
    {MSG_ACTIVE_FROM_OUTSIDE, "Извне"},
    {MSG_ACTIVE_HOT_REFRESH, "О"},
    {MSG_ACTIVE_HOT_END, "З"},
    {MSG_ACTIVE_HOT_ENTER, "В"},
    {MSG_VIEW_LOCALS, " Локальные переменные "},
    {MSG_VIEW_MONITOR, " Монитор "},
    {MSG_VIEW_STACK, " Стек вызова "},
    // The editor, the error list and kernel errors.
    {MSG_KEY_DEBUG, "Отладка"},
    {MSG_KEY_RUN, "Пуск!"},
    {MSG_KEY_STEP_IN, "Шаг в"},
    {MSG_KEY_STOP, "Стоп"},
    {MSG_KEY_DEBUG_OFF, "Выкл.отл."},
    {MSG_KEY_BREAKPOINT, "Т.ост."},
    {MSG_LAST_COLUMN, " Последний столбец ! "},
    {MSG_SEARCH_TITLE, " Поиск "},
    {MSG_PATTERN_NOT_FOUND, "Шаблон не найден"},
    {MSG_SAVE_UNCHANGED, " Форма не изменялась. Сохранить все равно? "},
    {MSG_ERROR_LIST_TITLE, " Список ошибок "},
    {MSG_KERNEL_NOT_LOADED, " Таврел не загружен "},
    {MSG_BAD_USER_NAME, " Неверное имя пользователя "},
    {MSG_BAD_PASSWORD, " Неверный пароль! "},
    {MSG_BAD_CHANNEL, "Неверный номер канала!"},
    {MSG_NETWORK_ERROR, "Ошибка обмена данными по сети %d"},
    {MSG_ERROR_AT, "Ошибка в строке %ld позиция %ld: "},
    {MSG_ERROR_PLAIN, "Ошибка: "},
};

constexpr int MESSAGE_COUNT = static_cast<int>(sizeof MESSAGES / sizeof MESSAGES[0]);

// The texts in CP866, converted once.
struct Catalogue {
  bool ready = false;
  std::string text[MESSAGE_COUNT];
};

Catalogue catalogue;

void convert_all() {
  for (int i = 0; i < MESSAGE_COUNT; i++) catalogue.text[i] = utf8_to_cp866(MESSAGES[i].utf8);
  catalogue.ready = true;
}

}  // namespace

const char* message_text(int slot) {
  if (!catalogue.ready) convert_all();
  int low = 0, high = MESSAGE_COUNT - 1;
  while (low <= high) {
    int middle = (low + high) / 2;
    if (MESSAGES[middle].slot == slot) return catalogue.text[middle].c_str();
    if (MESSAGES[middle].slot < slot) low = middle + 1;
    else high = middle - 1;
  }
  return "";
}

int message_count() { return MESSAGE_COUNT; }

int message_slot_at(int index) {
  return index >= 0 && index < MESSAGE_COUNT ? MESSAGES[index].slot : -1;
}

}  // namespace tavrel
