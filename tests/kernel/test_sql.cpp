// tavrel-sql against a real tavrel-kernel --demo in a private run directory: statements from
// -c and from standard input, the printed rows, kernel errors on standard error and the exit
// status.
#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "kernel_fixture.h"

namespace tavrel {
namespace {

namespace fs = std::filesystem;

struct SqlRun {
  int status;  // exit status, -1 when the program did not exit by itself
  std::string out;
  std::string err;
};

class Sql : public KernelTest {
 protected:
  void SetUp() override { start("tavrel-sql-test"); }
  void TearDown() override { finish(); }

  std::string read_file(const std::string& path) const {
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
  }

  // Runs tavrel-sql with the arguments and input; output and errors go through files, so
  // that no pipe can fill up. A run that hangs is killed after two minutes.
  SqlRun sql(std::vector<std::string> args, const std::string& input = "") {
    const std::string in = rundir + "/in", out = rundir + "/out", err = rundir + "/err";
    std::ofstream(in, std::ios::binary) << input;
    args.insert(args.begin(), "tavrel-sql");
    const pid_t child = fork();
    if (child == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      std::vector<char*> argv;
      for (std::string& a : args) argv.push_back(a.data());
      argv.push_back(nullptr);
      const int fds[3] = {open(in.c_str(), O_RDONLY), open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600),
                          open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600)};
      for (int i = 0; i < 3; ++i) {
        if (fds[i] < 0 || dup2(fds[i], i) < 0) _exit(126);
      }
      execv(TAVREL_SQL_PATH, argv.data());
      _exit(127);
    }
    SqlRun run{-1, "", ""};
    int status = 0;
    for (int i = 0; i < 2400; ++i) {
      if (waitpid(child, &status, WNOHANG) == child) {
        if (WIFEXITED(status)) run.status = WEXITSTATUS(status);
        run.out = read_file(out);
        run.err = read_file(err);
        return run;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    ADD_FAILURE() << "tavrel-sql did not finish";
    return run;
  }

};

TEST_F(Sql, RunsEachCommandLineStatementAndPrintsItsRows) {
  const SqlRun r = sql({"-U", "DEMO/DEMO", "-c", "select DEPTNO, DNAME, LOC from DEPT where DEPTNO in (10, 40) order by 1;",
                     "-c", "select ENAME, null, SAL from EMP where EMPNO = 7900;", "-c",
                     "select 'a|b', ''; select 'two statements in one text', 2;", "-c", "select 'no semicolon'"});
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out,
            "10 | ACCOUNTING | NEW YORK\n"
            "40 | ОПЕРАЦИИ | МОСКВА\n"
            "ИВАНОВ |  | 950\n"
            "a|b | \n"
            "two statements in one text | 2\n"
            "no semicolon\n");
  EXPECT_EQ(r.err, "");
}

TEST_F(Sql, ReadsStatementsEndingWithSemicolonFromStandardInput) {
  const std::string input =
      "create table NOTE(ID integer, TEXT varchar(40));\n"
      "insert into NOTE values(1, 'semicolon; inside'), -- a comment; with a semicolon\n"
      "  (2, 'Привет, мир');\n"
      "/* a block comment; also with one */ insert into NOTE values(3, 'it''s');\n"
      "\n"
      "select ID, TEXT\n"
      "  from NOTE order by ID;\n"
      "select count(*) as \"quoted;name\" from NOTE";
  const SqlRun r = sql({"-U", "DEMO/DEMO"}, input);
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out,
            "1 | semicolon; inside\n"
            "2 | Привет, мир\n"
            "3 | it's\n"
            "3\n");
  EXPECT_EQ(r.err, "");
}

TEST_F(Sql, ProcedureTextsRunToTheirEndAndAreStoredByTheKernel) {
  // Semicolons, and a "//" comment with a quote, inside the body; then a drop and a create
  // of a trigger: each is one statement, stored (or dropped) through the catalogue.
  const std::string input =
      "create procedure \"SQL_MADE\"(inout N integer default 2) for debug\n"
      "code\n"
      "  // the user's counter; counts down\n"
      "  while N > 0 loop N := N - 1; endloop;\n"
      "end;\n"
      "drop procedure \"COUNT_DOWN\";\n"
      "CREATE TRIGGER T_SQL after delete on DEPT for each row execute code end ;\n"
      "select $$$NAME from system.$$$PROC where $$$NAME in ('SQL_MADE', 'COUNT_DOWN');\n"
      "select $$$NAME from system.$$$TRIG where $$$NAME = 'T_SQL';\n"
      "select count(*) from system.$$$PRCD where PROCID = (select $$$ID from system.$$$PROC where $$$NAME = 'SQL_MADE');";
  const SqlRun r = sql({"-U", "DEMO/DEMO"}, input);
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "SQL_MADE\nT_SQL\n1\n");
  EXPECT_EQ(r.err, "");
}

TEST_F(Sql, CharColumnsLoseTrailingBlanks) {
  const SqlRun setup = sql({"-U", "DEMO/DEMO", "-c", "create table PAD(C char(10), V varchar(10), T text);", "-c",
                            "insert into PAD values('ab   ', 'cd   ', printf('%.*c', 1000, 'x'));"});
  ASSERT_EQ(setup.status, 0) << setup.err;
  EXPECT_EQ(setup.out, "");

  // A select whose rows all come with the first answer, one that is no plain select, and
  // 100 rows of more than 1,000 bytes, which outlast the first answer and come with GETN.
  const SqlRun r = sql({"-U", "DEMO/DEMO", "-c", "select C, V, C || '.' from PAD -- the columns; all of them",
                        "-c", "pragma table_info(PAD);", "-c",
                        "with recursive N(I) as (select 1 union all select I + 1 from N where I < 100) "
                        "select I, C, V, T from N, PAD order by I;"});
  EXPECT_EQ(r.status, 0) << r.err;
  const std::string small =
      "ab | cd    | ab   .\n"
      "0 | C | char(10) | 0 |  | 0\n"
      "1 | V | varchar(10) | 0 |  | 0\n"
      "2 | T | TEXT | 0 |  | 0\n";
  ASSERT_EQ(r.out.substr(0, small.size()), small);
  // The long lines are compared one by one, so that a failure names the first that differs.
  std::istringstream rest(r.out.substr(small.size()));
  std::string line;
  int count = 0;
  while (std::getline(rest, line)) {
    ++count;
    const std::string expected = std::to_string(count) + " | ab | cd    | " + std::string(1000, 'x');
    if (line != expected) {
      ADD_FAILURE() << "line " << count << " of the long select differs: " << line.substr(0, 40);
      break;
    }
  }
  EXPECT_EQ(count, 100);
  EXPECT_EQ(r.err, "");
}

TEST_F(Sql, KernelErrorsGoToStandardErrorWithTheKernelsText) {
  const SqlRun r = sql({"-U", "DEMO/DEMO", "-c", "select * from MISSING_TABLE;", "-c", "select 'after the error';"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.out, "after the error\n");
  EXPECT_EQ(r.err.rfind("error 2001: Ошибка в SQL-операторе", 0), 0u) << r.err;
  EXPECT_NE(r.err.find("MISSING_TABLE"), std::string::npos) << r.err;
  EXPECT_EQ(r.err.back(), '\n');

  const SqlRun dup = sql({"-U", "DEMO/DEMO"}, "insert into DEPT values(10, 'AGAIN', 'HERE');\nselect 'still here';\n");
  EXPECT_EQ(dup.status, 1);
  EXPECT_EQ(dup.out, "still here\n");
  EXPECT_EQ(dup.err.rfind("error 2003: Нарушено ограничение целостности", 0), 0u) << dup.err;
}

TEST_F(Sql, CatalogueStatementsShowTheirFixedRows) {
  // The manager's statements, byte for byte: the trigger list, a procedure's identifier
  // and its input parameters, whose defaults show as the literals of a call.
  const SqlRun id = sql({"-U", "DEMO/DEMO", "-c",
                         "select $$$id from system.$$$proc, system.$$$usr where $$$name = 'ALL_TYPES' and $$$s32 = 0 "
                         "and $$$s31 > 0 and $$$s34 =  'DEMO' and $$$s31=$$$owner;"});
  ASSERT_EQ(id.status, 0) << id.err;
  ASSERT_FALSE(id.out.empty());
  const std::string proc_id = id.out.substr(0, id.out.size() - 1);
  const SqlRun r = sql({"-U", "DEMO/DEMO", "-c",
                        "select $$$proc, $$$name from system.$$$trig,system.$$$usr where $$$s32 = 0 and $$$s31 > 0 and "
                        "$$$s34 =  'DEMO' and $$$s31=$$$owner;",
                        "-c",
                        "select NAME, TYPE, LEN, DEFVAL from system.$$$PRCD where PROCID=" + proc_id +
                            " and MODIF in (1, 3) order by ARGID;",
                        "-c", "select $$$name from system.$$$proc where $$$id = " + proc_id + ";"});
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.err, "");
  const std::string expected_params =
      "S | 2 | 0 | 0 | 2 | -3\n"
      "I | 2 | 0 | 0 | 4 | 100000\n"
      "B | 2 | 0 | 0 | 8 | 5000000000\n"
      "R | 3 | 0 | 0 | 4 | 1.5\n"
      "D | 3 | 0 | 0 | 8 | 2.25\n"
      "N | 5 | 10 | 3 | 16 | 12.345\n"
      "L | 10 | 0 | 0 | 1 | TRUE\n"
      "C | 1 | 0 | 0 | 10 | 'abc       '\n"
      "V | 1 | 0 | 0 | 20 | NULL\n"
      "W | 11 | 0 | 0 | 5 | N'Юни  '\n"
      "T | 4 | 0 | 0 | 8 | '5.3.2011:10:7:0'\n"
      "Z | 2 | 0 | 0 | 4 | NULL\n";
  const size_t trigger_end = r.out.find('\n');
  ASSERT_NE(trigger_end, std::string::npos) << r.out;
  EXPECT_NE(r.out.substr(0, trigger_end).find(" | EMP_AUDIT"), std::string::npos) << r.out;
  EXPECT_EQ(r.out.substr(trigger_end + 1), expected_params + "ALL_TYPES\n");
}

TEST_F(Sql, AStoreThatDoesNotTranslateShowsEachDiagnostic) {
  const SqlRun r = sql({"-U", "DEMO/DEMO", "-c", "create procedure \"BAD\"(in X integer default 'a') code end;", "-c",
                        "select 'next';"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.out, "next\n");
  EXPECT_EQ(r.err.rfind("line 1, column ", 0), 0u) << r.err;
  EXPECT_NE(r.err.find(": ошибка несовместимости типов\n"), std::string::npos) << r.err;
  // Errors of the body, each on its own line with its own place.
  const SqlRun body = sql({"-U", "DEMO/DEMO"},
                          "create procedure \"BAD\"() declare var Y integer;\ncode\n  Y := ;\n  Y := 1 +;\nend;\n");
  EXPECT_EQ(body.status, 1);
  EXPECT_EQ(body.err.rfind("line 3, column ", 0), 0u) << body.err;
  EXPECT_NE(body.err.find("\nline 4, column "), std::string::npos) << body.err;
}

// A unit in the Russian spelling is one statement up to its КОН; BIGINT and NUMERIC values
// are written in full.
TEST_F(Sql, RussianUnitsAndTheTextsOfWideNumbers) {
  const SqlRun r = sql({"-U", "DEMO/DEMO"},
                       "create procedure \"РУС\"(ВЫХ Р bigint, ВЫХ Ч numeric(10,2)) КОД\n"
                       "  Р := 5000000000; Ч := 12.5;\nКОН;\n"
                       "execute \"РУС\"();\n"
                       "drop procedure \"РУС\";\n");
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "{ Р } = 5000000000 (BIGINT)\n{ Ч } = 12.5000000000 (NUMERIC)\n");
}

TEST_F(Sql, CallsThatCannotStartShowTheirPosition) {
  const SqlRun r = sql({"-U", "DEMO/DEMO", "-c", "execute \"NOPE\"();", "-c", "execute \"COUNT_DOWN\"(1 2);"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err,
            "error 2001: Процедура не найдена: NOPE (position 8)\n"
            "error 2010: Неверная запись вызова: ожидается execute \"ИМЯ\"(аргументы) (position 23)\n");
}

TEST_F(Sql, ExecutePrintsMessagesOutputsTheReturnValueAndTheException) {
  const std::string input =
      "create procedure \"TALK\"(in A integer, out TWICE integer) result integer\n"
      "code\n  print(\"first\");\n  print(\"second\");\n  TWICE := A * 2;\n  return A + 1;\nend;\n"
      "create procedure \"BOOM\"() code signal APPLICATIONERROR; end;\n"
      "execute \"COUNT_DOWN\"(5);\n"
      "execute \"TALK\"(20);\n"
      "execute \"BOOM\"();\n"
      "select 'after';\n";
  const SqlRun r = sql({"-U", "DEMO/DEMO"}, input);
  EXPECT_EQ(r.status, 1) << "an exception that left a procedure is a failure";
  EXPECT_EQ(r.out,
            "{ N } = 0 (SMALLINT)\n"
            "*** Message from Stored Procedure: first\n"
            "*** Message from Stored Procedure: second\n"
            "{ TWICE } = 40 (INTEGER)\n"
            "Возвращаемое значение: 21 (INTEGER)\n"
            "Передано состояние исключения APPLICATIONERROR\n"
            "after\n");
  EXPECT_EQ(r.err, "");
}

TEST_F(Sql, RefusedLogonsEndWithStatusOne) {
  struct Case {
    std::vector<std::string> args;
    std::string err;
  } cases[] = {
      {{"-U", "DEMO/wrong", "-c", "select 1;"}, "error 1026: Неверный пароль\n"},
      {{"-U", "NOBODY/DEMO", "-c", "select 1;"}, "error 1025: Неверное имя пользователя\n"},
  };
  for (const Case& c : cases) {
    const SqlRun r = sql(c.args);
    EXPECT_EQ(r.status, 1) << c.args[1];
    EXPECT_EQ(r.out, "") << c.args[1];
    EXPECT_EQ(r.err, c.err) << c.args[1];
  }
  // A node without an agent to reach it: the channel's own code.
  const SqlRun remote = sql({"-N", "FARAWAY", "-U", "DEMO/DEMO", "-c", "select 1;"});
  EXPECT_EQ(remote.status, 1);
  EXPECT_EQ(remote.out, "");
  EXPECT_EQ(remote.err.rfind("error 1001: ", 0), 0u) << remote.err;
}

TEST_F(Sql, BadArgumentsEndWithStatusTwo) {
  const std::vector<std::vector<std::string>> cases = {
      {"-c", "select 1;"}, {"-U", "DEMO"}, {"-U", "DEMO/DEMO", "-x"}, {"-U", "DEMO/DEMO", "-c"},
      {"-N", "LONGER_THAN_8", "-U", "DEMO/DEMO"},
  };
  for (const auto& args : cases) {
    const SqlRun r = sql(args, "select 1;");
    EXPECT_EQ(r.status, 2) << args[0] << " " << args[1];
    EXPECT_EQ(r.out, "");
    EXPECT_NE(r.err.find("usage: tavrel-sql"), std::string::npos) << r.err;
  }
}

}  // namespace
}  // namespace tavrel
