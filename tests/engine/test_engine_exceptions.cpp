// Exceptions: the system ones the run time raises, declared ones, handlers, RESIGNAL and IGNORE,
// exceptions that reach the caller and the client, the recursion limit.
#include "engine_fixture.h"

namespace tavrel::kernel {
namespace {

TEST_F(EngineTest, RunTimeRaisesSystemExceptions) {
  struct Case {
    const char* body;
    const char* name;
  };
  const Case cases[] = {
      {"X := 1 / (X - X);", "DIVZERO"},
      {"D := 1.5d / 0;", "DIVZERO"},
      {"call NO_SUCH_PROCEDURE(1);", "UNDEFPROC"},
      {"X := NULL; X := X + 1;", "NULLDATA"},
      {"if RAISE_ERROR(-4) then X := 1; endif;", "BADPARAM"},
      {"N := \"abc\"; X := LEN(N) + TOINTEGER(NULL);", "NULLDATA"},
  };
  int k = 0;
  for (const Case& c : cases) {
    const std::string name = "P" + std::to_string(k++);
    ASSERT_EQ(store("create procedure " + name + "(out X integer, out D double, out N char(5)) code X := 5; " + c.body +
                    " end;"),
              0u);
    ASSERT_EQ(run(name), 0u);
    EXPECT_EQ(out_.exception_name, c.name) << c.body;
  }
}

TEST_F(EngineTest, HandlersTakeDeclaredAndSystemExceptions) {
  ASSERT_EQ(store(R"(create procedure P(in K integer, out R char(20))
declare
  exception MINE;
  exception CODED for 77;
code
  if K = 1 then signal MINE; endif;
  if K = 2 then signal CODED; endif;
  if K = 3 then R := TOCHAR(1 / 0); endif;
  R := "none";
exceptions
  when MINE then R := "mine";
  when CODED, DIVZERO then R := "coded or div";
end;)"), 0u);
  const std::pair<const char*, const char*> cases[] = {{"1", "mine"}, {"2", "coded or div"}, {"3", "coded or div"}, {"4", "none"}};
  for (auto [k, want] : cases) {
    ASSERT_EQ(run("P", {k}), 0u);
    EXPECT_EQ(out_.exception, 0) << k;
    EXPECT_EQ(output("R"), want) << k;
  }
}

TEST_F(EngineTest, UnhandledExceptionReachesCallerThenClient) {
  ASSERT_EQ(store(R"(create procedure INNER
declare exception OOPS for 5;
code signal OOPS; end;)"), 0u);
  ASSERT_EQ(store(R"(create procedure MIDDLE(out TRACE char(20))
code TRACE := "before"; call INNER(); TRACE := "after"; end;)"), 0u);
  ASSERT_EQ(run("MIDDLE"), 0u);
  EXPECT_EQ(out_.exception, 5);
  EXPECT_EQ(out_.exception_name, "CUSTOM (5)");
  ASSERT_EQ(store(R"(create procedure OUTER(out R char(20))
code call INNER(); R := "not here";
exceptions when others then R := "caught"; end;)"), 0u);
  ASSERT_EQ(run("OUTER"), 0u);
  EXPECT_EQ(out_.exception, 0);
  EXPECT_EQ(output("R"), "caught");
}

TEST_F(EngineTest, ResignalAndIgnore) {
  ASSERT_EQ(store(R"(create procedure P(in K integer, out R integer)
code R := 1 / K;
exceptions when DIVZERO then R := -1; if K = 0 then resignal; endif;
end;)"), 0u);
  ASSERT_EQ(run("P", {"0"}), 0u);
  EXPECT_EQ(out_.exception_name, "DIVZERO");
  ASSERT_EQ(store(R"(create procedure Q(out R integer)
code R := 1; signal APPLICATIONERROR; R := 2;
exceptions when others then ignore; R := 3;
end;)"), 0u);
  ASSERT_EQ(run("Q"), 0u);
  EXPECT_EQ(out_.exception, 0);
  EXPECT_EQ(output("R"), "1");
}

TEST_F(EngineTest, ExceptionInsideHandlerLeavesTheUnit) {
  ASSERT_EQ(store(R"(create procedure P(out R integer)
code signal APPLICATIONERROR;
exceptions when APPLICATIONERROR then R := 1 / 0;
  when DIVZERO then R := 9;
end;)"), 0u);
  ASSERT_EQ(run("P"), 0u);
  EXPECT_EQ(out_.exception_name, "DIVZERO");
}

TEST_F(EngineTest, RecursionLimitEndsInNomemNotACrash) {
  ASSERT_EQ(store(R"(create procedure DEEP(in N integer) result integer
code return DEEP(N + 1) + 1; end;)"), 0u);
  ASSERT_EQ(run("DEEP", {"0"}), 0u);
  EXPECT_EQ(out_.exception_name, "NOMEM");
  ASSERT_EQ(store(R"(create procedure DEEPCALL(in N integer)
code call DEEPCALL(N + 1); end;)"), 0u);
  ASSERT_EQ(run("DEEPCALL", {"0"}), 0u);
  EXPECT_EQ(out_.exception_name, "NOMEM");
  // The session goes on.
  ASSERT_EQ(store("create procedure OK(out X integer) code X := 1; end;"), 0u);
  ASSERT_EQ(run("OK"), 0u);
  EXPECT_EQ(output("X"), "1");
}

}  // namespace
}  // namespace tavrel::kernel
