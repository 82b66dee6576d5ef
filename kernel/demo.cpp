// Demonstration data: the user DEMO/DEMO, tables with rows, procedures with Latin and
// Cyrillic names, and a trigger. Between them the units show every part of the procedure
// language a new user meets first: parameters of every type and mode, loops, a cursor loop,
// PRINT, nested calls with OUT parameters, a RESULT used in an expression, declared and
// system exceptions handled and passed on, SLEEP, and a row trigger reading NEW and OLD.
#include "kernel/demo.h"

#include <sqlite3.h>

#include <vector>

#include "kernel/catalog.h"
#include "kernel/errors.h"
#include "kernel/storage.h"

namespace tavrel::kernel {

namespace {

const char* const DEMO_SQL = R"SQL(
begin;
insert or ignore into "$$$USR"("$$$S34", "$$$PASSWORD") values('DEMO', 'DEMO');
create table if not exists DEPT(DEPTNO integer primary key, DNAME char(14), LOC char(13));
create table if not exists EMP(EMPNO integer primary key, ENAME char(10), JOB char(9),
  DEPTNO integer references DEPT, SAL numeric(7,2), HIREDATE date);
insert or ignore into DEPT values(10, 'ACCOUNTING', 'NEW YORK'), (20, 'RESEARCH', 'DALLAS'),
  (30, 'SALES', 'CHICAGO'), (40, 'ОПЕРАЦИИ', 'МОСКВА');
insert or ignore into EMP values(7369, 'SMITH', 'CLERK', 20, 800.00, '1980-12-17'),
  (7499, 'ALLEN', 'SALESMAN', 30, 1600.00, '1981-02-20'),
  (7566, 'JONES', 'MANAGER', 20, 2975.00, '1981-04-02'),
  (7839, 'KING', 'PRESIDENT', 10, 5000.00, '1981-11-17'),
  (7900, 'ИВАНОВ', 'CLERK', 40, 950.00, '1981-12-03');
create table if not exists SAL_HISTORY(ID integer primary key, EMPNO integer, OLD_SAL numeric(7,2),
  NEW_SAL numeric(7,2), CHANGED date default current_timestamp);
commit;
)SQL";

// Stored through the same path as the manager's create statements; their heads exercise
// every parameter type, defaults (NULL ones included) and every mode. The first seven keep
// their places (the procedure list shows them first); the later ones each show one feature.
const char* const DEMO_OBJECTS[] = {
    R"(create procedure RAISE_SALARY(in EMP_NO integer, in PERCENT numeric(5,2) default 10, out NEW_SAL numeric(7,2)) for debug
code
  // Raises one employee's salary by a percentage.
  update EMP set SAL = SAL * (100 + PERCENT) / 100 where EMPNO = EMP_NO;
  select SAL into NEW_SAL from EMP where EMPNO = EMP_NO;
end;)",
    R"(create procedure "ПРИВЕТСТВИЕ"(in ИМЯ char(20) default null, out ТЕКСТ varchar(80)) for debug
code
  if ИМЯ is null then ТЕКСТ := "Здравствуйте!"; else ТЕКСТ := "Здравствуйте, " + ИМЯ + "!"; endif;
end;)",
    R"(create procedure COUNT_DOWN(inout N smallint default 5) for debug
code
  while N > 0 loop
    N := N - 1;
  endloop;
end;)",
    R"(create procedure ALL_TYPES(in S smallint default -3, in I integer default 100000, in B bigint default 5000000000,
    in R real default 1.5, in D double default 2.25, in N numeric(10,3) default 12.345, in L bool default true,
    in C char(10) default "abc", in V varchar(20) default null, in W nchar(5) default "Юни",
    in T date default 05.03.2011:10:07:00, in Z integer, out RES integer) for debug
code
  RES := S + I;
end;)",
    R"(create procedure NESTED(in DEPTH integer default 3, out TOTAL integer) for debug
code
  TOTAL := 0;
  if DEPTH > 0 then
    call NESTED(DEPTH - 1, TOTAL);
    TOTAL := TOTAL + DEPTH;
  endif;
  call COUNT_DOWN(DEPTH);
end;)",
    R"(create procedure SAFE_DIVIDE(in A double default 1, in B double default 0, out Q double) for debug
declare
  exception DIVISION_BY_ZERO;
code
  if B = 0 then signal DIVISION_BY_ZERO; endif;
  Q := A / B;
exceptions
  when DIVISION_BY_ZERO then Q := null;
  when others then resignal;
end;)",
    R"(create trigger "EMP_AUDIT"
after insert or update on EMP for each row
execute for debug
declare
  var EMP_NO integer;
  var WAS, IS_NOW numeric(7,2);
code
  // Keeps each salary change in SAL_HISTORY: the salary before (NULL for a new
  // employee) and after. NEW and OLD are the row after and before the change.
  EMP_NO := NEW.EMPNO;
  WAS := OLD.SAL;
  IS_NOW := NEW.SAL;
  if WAS <> IS_NOW then
    insert into SAL_HISTORY(EMPNO, OLD_SAL, NEW_SAL) values(EMP_NO, WAS, IS_NOW);
  endif;
end;)",
    R"(create procedure LIST_EMPLOYEES(in DEPT_NO integer default null, out SHOWN integer) for debug
declare
  cursor C;
code
  // Prints the employees of one department (of all with NULL) through a cursor.
  SHOWN := 0;
  open C for select EMPNO, ENAME, JOB, SAL from EMP
    where DEPT_NO is null or DEPTNO = DEPT_NO order by EMPNO;
  fetch C;
  while not OUTOFCURSOR(C) loop
    PRINT(ITOA(C.EMPNO) + "  " + RPAD(C.ENAME, 10) + RPAD(C.JOB, 10) + TOCHAR(C.SAL, 10, 2));
    SHOWN := SHOWN + 1;
    fetch C;
  endloop;
  close C;
end;)",
    R"(create procedure CHECKED_RATIO(in A integer default 10, in B integer default 0, out RATIO integer) for debug
code
  // A division by zero in a procedure raises the system exception DIVZERO.
  RATIO := A / B;
exceptions
  when DIVZERO then
    PRINT("Division by zero: the ratio is 0");
    RATIO := 0;
end;)",
    R"(create procedure CHECK_SALARY(in EMP_NO integer default 7369, out SALARY numeric(7,2)) for debug
declare
  exception LOW_SALARY for 50;
code
  // Signals LOW_SALARY for a salary under 1000. Nothing here handles it, so it
  // passes to the caller (to the client when run on its own).
  select SAL into SALARY from EMP where EMPNO = EMP_NO;
  if SALARY < 1000 then
    signal LOW_SALARY;
  endif;
end;)",
    R"(create procedure REVIEW_SALARY(in EMP_NO integer default 7369, out VERDICT varchar(40)) for debug
declare
  exception LOW_SALARY for 50;
  var SALARY numeric(7,2);
code
  // Calls CHECK_SALARY and handles the exception that it passes on.
  call CHECK_SALARY(EMP_NO, SALARY);
  VERDICT := "Salary " + TOCHAR(SALARY, 10, 2) + " is fine";
exceptions
  when LOW_SALARY then
    VERDICT := "Salary under 1000";
  when others then
    PRINT("CHECK_SALARY failed");
    resignal;
end;)",
    R"(create procedure DEPT_TOTAL(in DEPT_NO integer default 20) result numeric(15,2) for debug
declare
  var TOTAL numeric(15,2);
code
  // The sum of a department's salaries, given back as the procedure's result.
  select coalesce(sum(SAL), 0) into TOTAL from EMP where DEPTNO = DEPT_NO;
  return TOTAL;
end;)",
    R"(create procedure DEPT_REPORT(out GRAND_TOTAL numeric(15,2)) for debug
declare
  cursor D;
  var TOTAL numeric(15,2);
code
  // Prints each department's total: DEPT_TOTAL is called inside an expression.
  GRAND_TOTAL := 0;
  open D for select DEPTNO, DNAME from DEPT order by DEPTNO;
  fetch D;
  while not OUTOFCURSOR(D) loop
    TOTAL := DEPT_TOTAL(D.DEPTNO);
    PRINT(RPAD(D.DNAME, 14) + TOCHAR(TOTAL, 12, 2));
    GRAND_TOTAL := GRAND_TOTAL + TOTAL;
    fetch D;
  endloop;
  close D;
end;)",
    R"(create procedure SLOW(in SECONDS integer default 2) for debug
code
  // Waits a while: time enough to look at it in the list of active procedures.
  PRINT("Sleeping for " + ITOA(SECONDS) + " s");
  sleep SECONDS;
  PRINT("Awake");
end;)",
    R"(create procedure SUM_TO(in N integer default 1000, out TOTAL bigint) for debug
declare
  var I integer default 1;
code
  // A loop long enough to step through in the debugger and watch TOTAL grow.
  TOTAL := 0;
  while I <= N loop
    TOTAL := TOTAL + I;
    I := I + 1;
  endloop;
end;)",
};

}  // namespace

int demo_create(sqlite3* db, std::string* error) {
  char* message = nullptr;
  const int rc = sqlite3_exec(db, DEMO_SQL, nullptr, nullptr, &message);
  if (rc != SQLITE_OK) {
    *error = message != nullptr ? message : sqlite3_errstr(rc);
    sqlite3_free(message);
    sqlite3_exec(db, "rollback;", nullptr, nullptr, nullptr);
    return 1;
  }
  for (const char* object : DEMO_OBJECTS) {
    std::vector<uint8_t> errors;
    std::string why;
    const uint32_t code = catalog_store(db, "DEMO", object, &errors, &why);
    // A database made by an earlier --demo keeps its objects.
    if (code != 0 && code != KERNEL_PROC_EXISTS && code != KERNEL_TRIGGER_EXISTS) {
      *error = "demo object not stored (code " + std::to_string(code) + "): " + why;
      return 1;
    }
  }
  return 0;
}

}  // namespace tavrel::kernel
