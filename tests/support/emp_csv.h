// The rows of the demonstration's SCOTT.EMP as CSV with lines that end in LF.
#pragma once

namespace vexlo_test {

constexpr char EMP_CSV[] = "EMPNO,ENAME,JOB,MGR,HIREDATE,SAL,COMM,DEPTNO\n"
                           "7369,SMITH,CLERK,7902,1980-12-17T00:00:00,800,,20\n"
                           "7499,ALLEN,SALESMAN,7698,1981-02-20T00:00:00,1600,300,30\n"
                           "7521,WARD,SALESMAN,7698,1981-02-22T00:00:00,1250,500,30\n"
                           "7566,JONES,MANAGER,7839,1981-04-02T00:00:00,2975,,20\n"
                           "7654,MARTIN,SALESMAN,7698,1981-09-28T00:00:00,1250,1400,30\n"
                           "7698,BLAKE,MANAGER,7839,1981-05-01T00:00:00,2850,,30\n"
                           "7782,CLARK,MANAGER,7839,1981-06-09T00:00:00,2450,,10\n"
                           "7788,SCOTT,ANALYST,7566,1987-04-19T00:00:00,3000,,20\n"
                           "7839,KING,PRESIDENT,,1981-11-17T00:00:00,5000,,10\n"
                           "7844,TURNER,SALESMAN,7698,1981-09-08T00:00:00,1500,0,30\n"
                           "7876,ADAMS,CLERK,7788,1987-05-23T00:00:00,1100,,20\n"
                           "7900,JAMES,CLERK,7698,1981-12-03T00:00:00,950,,30\n"
                           "7902,FORD,ANALYST,7566,1981-12-03T00:00:00,3000,,20\n"
                           "7934,MILLER,CLERK,7782,1982-01-23T00:00:00,1300,,10\n";

} // namespace vexlo_test
