#include <string>

#include "demo.h"

namespace sample {

namespace {

ColumnDef precise(std::string name, uint32_t precision, int scale) {
    ColumnDef def = number_column(std::move(name));
    def.precision = precision;
    def.scale = scale;
    return def;
}

void add_primary_key(DemoContext &demo, uint32_t owner, const char *name, size_t table) {
    IndexDef def;
    def.owner = owner;
    def.name = name;
    def.table = table;
    demo.db.add_index(def);
}

void add_dept(DemoContext &demo) {
    size_t table = demo.db.add_table(
        table_def(demo.scott, "DEPT", demo.users,
                  {precise("DEPTNO", 2, 0), varchar2_column("DNAME", 14), varchar2_column("LOC", 13)}));
    add_primary_key(demo, demo.scott, "PK_DEPT", table);
    const struct {
        int deptno;
        const char *dname;
        const char *loc;
    } rows[] = {{10, "ACCOUNTING", "NEW YORK"},
                {20, "RESEARCH", "DALLAS"},
                {30, "SALES", "CHICAGO"},
                {40, "OPERATIONS", "BOSTON"}};
    for (const auto &r : rows)
        demo.db.insert(table, {number(r.deptno), text(r.dname), text(r.loc)});
}

constexpr int NONE = -1; // a NULL number below

void add_emp(DemoContext &demo) {
    size_t table =
        demo.db.add_table(table_def(demo.scott, "EMP", demo.users,
                                    {precise("EMPNO", 4, 0), varchar2_column("ENAME", 10),
                                     varchar2_column("JOB", 9), precise("MGR", 4, 0), date_column("HIREDATE"),
                                     precise("SAL", 7, 2), precise("COMM", 7, 2), precise("DEPTNO", 2, 0)}));
    add_primary_key(demo, demo.scott, "PK_EMP", table);
    const struct {
        int empno;
        const char *ename;
        const char *job;
        int mgr;
        DateTime hired;
        int sal;
        int comm;
        int deptno;
    } rows[] = {
        {7369, "SMITH", "CLERK", 7902, {1980, 12, 17}, 800, NONE, 20},
        {7499, "ALLEN", "SALESMAN", 7698, {1981, 2, 20}, 1600, 300, 30},
        {7521, "WARD", "SALESMAN", 7698, {1981, 2, 22}, 1250, 500, 30},
        {7566, "JONES", "MANAGER", 7839, {1981, 4, 2}, 2975, NONE, 20},
        {7654, "MARTIN", "SALESMAN", 7698, {1981, 9, 28}, 1250, 1400, 30},
        {7698, "BLAKE", "MANAGER", 7839, {1981, 5, 1}, 2850, NONE, 30},
        {7782, "CLARK", "MANAGER", 7839, {1981, 6, 9}, 2450, NONE, 10},
        {7788, "SCOTT", "ANALYST", 7566, {1987, 4, 19}, 3000, NONE, 20},
        {7839, "KING", "PRESIDENT", NONE, {1981, 11, 17}, 5000, NONE, 10},
        {7844, "TURNER", "SALESMAN", 7698, {1981, 9, 8}, 1500, 0, 30},
        {7876, "ADAMS", "CLERK", 7788, {1987, 5, 23}, 1100, NONE, 20},
        {7900, "JAMES", "CLERK", 7698, {1981, 12, 3}, 950, NONE, 30},
        {7902, "FORD", "ANALYST", 7566, {1981, 12, 3}, 3000, NONE, 20},
        {7934, "MILLER", "CLERK", 7782, {1982, 1, 23}, 1300, NONE, 10},
    };
    auto optional_number = [](int n) { return n == NONE ? null_value() : number(n); };
    for (const auto &r : rows)
        demo.db.insert(table, {number(r.empno), text(r.ename), text(r.job), optional_number(r.mgr),
                               date(r.hired), number(r.sal), optional_number(r.comm), number(r.deptno)});
}

void add_salgrade(DemoContext &demo) {
    size_t table = demo.db.add_table(
        table_def(demo.scott, "SALGRADE", demo.users,
                  {number_column("GRADE"), number_column("LOSAL"), number_column("HISAL")}));
    const int rows[][3] = {
        {1, 700, 1200}, {2, 1201, 1400}, {3, 1401, 2000}, {4, 2001, 3000}, {5, 3001, 9999}};
    for (const auto &r : rows)
        demo.db.insert(table, {number(r[0]), number(r[1]), number(r[2])});
}

} // namespace

void add_scott_tables(DemoContext &demo) {
    add_dept(demo);
    add_emp(demo);
    demo.db.add_table(table_def(demo.scott, "BONUS", demo.users,
                                {varchar2_column("ENAME", 10), varchar2_column("JOB", 9),
                                 number_column("SAL"), number_column("COMM")}));
    add_salgrade(demo);
}

void add_hr_tables(DemoContext &demo) {
    size_t regions = demo.db.add_table(table_def(
        demo.hr, "REGIONS", demo.legacy, {number_column("REGION_ID"), varchar2_column("REGION_NAME", 25)}));
    const char *const names[] = {"Europe", "Americas", "Asia", "Middle East and Africa"};
    for (int i = 0; i < 4; i++)
        demo.db.insert(regions, {number(i + 1), text(names[i])});

    TableDef def =
        table_def(demo.hr, "EMPLOYEES", demo.legacy,
                  {precise("EMPLOYEE_ID", 6, 0), varchar2_column("FIRST_NAME", 20),
                   varchar2_column("LAST_NAME", 25), varchar2_column("EMAIL", 25), date_column("HIRE_DATE"),
                   precise("SALARY", 8, 2), precise("COMMISSION_PCT", 2, 2)});
    size_t employees = demo.db.add_table(def);
    for (int i = 0; i < 107; i++) {
        std::string serial = std::to_string(100 + i);
        Value commission = i % 3 == 0 ? null_value() : decimal("0." + std::to_string(10 + i % 30));
        RowPlacement placement;
        placement.deleted = i % 25 == 24;
        if (i % 20 == 10)
            demo.db.rows(employees).add_free_slot();
        demo.db.insert(employees,
                       {number(100 + i), text("First" + serial), text("Last" + serial), text("MAIL" + serial),
                        date({2000 + i % 15, 1 + i % 12, 1 + i % 28, i % 24, i % 60, 0}),
                        decimal(std::to_string(4000 + 37 * i) + ".50"), commission},
                       placement);
    }
}

} // namespace sample
