// Names of the system exceptions of an execution.
#include "protocol/codes.h"

#include <cstdio>

namespace tavrel {

const ExceptionName EXCEPTION_NAMES[EXCEPTION_NAME_COUNT] = {
    {EXCEPTION_DIVZERO, "DIVZERO"},
    {EXCEPTION_UNDEFPROC, "UNDEFPROC"},
    {EXCEPTION_BADPARAM, "BADPARAM"},
    {EXCEPTION_BADRETVAL, "BADRETVAL"},
    {EXCEPTION_NULLDATA, "NULLDATA"},
    {EXCEPTION_NOMEM, "NOMEM"},
    {EXCEPTION_BADCURSOR, "BADCURSOR"},
    {EXCEPTION_CURNOTOPEN, "CURNOTOPEN"},
    {EXCEPTION_APPENDNOTSTARTED, "APPENDNOTSTARTED"},
    {EXCEPTION_QUERYWHENAPPEND, "QUERYWHENAPPEND"},
    {EXCEPTION_APPENDACTIVE, "APPENDACTIVE"},
    {EXCEPTION_APPLICATIONERROR, "APPLICATIONERROR"},
    {EXCEPTION_TRANSACTION_STATE, "Invalid transaction state"},
};

const char* exception_name(int code) {
  for (const ExceptionName& e : EXCEPTION_NAMES) {
    if (e.code == code) return e.name;
  }
  return nullptr;
}

std::string exception_text(int code) {
  if (const char* name = exception_name(code)) return name;
  char text[32];
  std::snprintf(text, sizeof text, "CUSTOM (%d)", code);
  return text;
}

}  // namespace tavrel
