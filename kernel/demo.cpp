// Demonstration data: the user DEMO/DEMO, tables with rows, procedures with Latin and
// Cyrillic names, and a trigger.
#include "kernel/demo.h"

#include <sqlite3.h>

#include "kernel/storage.h"

namespace tavrel {

namespace {

const char* const DEMO_SQL = R"SQL(
begin;
insert or ignore into "$$$USR"(name, password) values('DEMO', 'DEMO');
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
insert or ignore into "$$$PROC"(id, name, owner, kind, text) values
  (1, 'RAISE_SALARY', 'DEMO', 0,
   'procedure RAISE_SALARY(in EMP_NO integer, in PERCENT numeric(5,2) default 10, out NEW_SAL numeric(7,2))'),
  (2, 'ПРИВЕТСТВИЕ', 'DEMO', 0,
   'procedure ПРИВЕТСТВИЕ(in ИМЯ char(20) default null, out ТЕКСТ varchar(80))'),
  (3, 'COUNT_DOWN', 'DEMO', 0, 'procedure COUNT_DOWN(inout N smallint default 5)'),
  (4, 'Trigger #1', 'DEMO', 1, 'trigger EMP_AUDIT after insert or update on EMP');
insert or ignore into "$$$PRCD" values
  (1, 1, 'EMP_NO', 'integer', 0, null), (1, 2, 'PERCENT', 'numeric(5,2)', 0, '10'),
  (1, 3, 'NEW_SAL', 'numeric(7,2)', 1, null),
  (2, 1, 'ИМЯ', 'char(20)', 0, 'null'), (2, 2, 'ТЕКСТ', 'varchar(80)', 1, null),
  (3, 1, 'N', 'smallint', 2, '5');
insert or ignore into "$$$TRIG"(id, name, owner, table_name, events, proc_id) values
  (1, 'EMP_AUDIT', 'DEMO', 'EMP', 3, 4);
commit;
)SQL";

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
  return 0;
}

}  // namespace tavrel
