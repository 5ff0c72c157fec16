-- The tables of command numbers and error texts. A statement ends with a semicolon at the end of
-- a line. Rows that a database has already are kept, so a number is never changed, only added.
CREATE TABLE IF NOT EXISTS commands (
    port INTEGER NOT NULL,
    name TEXT NOT NULL,
    number INTEGER NOT NULL,
    summary TEXT NOT NULL DEFAULT '',
    PRIMARY KEY (port, name)
);
CREATE TABLE IF NOT EXISTS errors (
    code INTEGER PRIMARY KEY,
    text TEXT NOT NULL
);
