// Tests on the real programs: where these are not installed the tests are skipped, but for those of a CI run.
#pragma once

#include <unistd.h>

#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

#include "postgresql_server.h"

// Each test has a database of its own.
template <class FIXTURE>
class WithPostgresql : public FIXTURE {
protected:
    void SetUp() override {
        server_ = PostgresqlServer::get();
        if (server_ == nullptr) {
            ASSERT_EQ(std::getenv("CI"), nullptr) << "PostgreSQL is not installed";
            GTEST_SKIP() << "PostgreSQL is not installed";
        }
        database_ = server_->next_name();
        server_->create_database(database_);
    }

    std::string query(const std::string &sql) { return server_->query(database_, sql); }

    PostgresqlServer *server_ = nullptr;
    std::string database_;
};

template <class FIXTURE>
class WithSqlite : public FIXTURE {
protected:
    void SetUp() override {
        if (access(SHELL, X_OK) == 0)
            return;
        ASSERT_EQ(std::getenv("CI"), nullptr) << "sqlite3 is not installed";
        GTEST_SKIP() << "sqlite3 is not installed";
    }

    // What the shell prints of a statement in the database at `path`.
    std::string query_file(const std::string &path, const std::string &sql) {
        const ProgramResult result = run_program({SHELL, path, sql});
        EXPECT_EQ(result.status, 0) << result.err;
        return result.out;
    }

    static constexpr char SHELL[] = "/usr/bin/sqlite3";
};
