/**
 * @file orvdb_client.h
 * The one public header of liborvdb_client: access to the local MariaDB server and notice of changes that other
 * processes make to its tables. Plain C99; usable from C++ as it stands.
 *
 * Rules of the whole interface
 * ----------------------------
 * 1. Statuses. A function that can fail returns one of the `ORV_DB_*` statuses below, never an error number of the
 *     database. Functions that return a count give -1, and functions that return a name give NULL, where others return
 *     ORV_DB_INVALID_ARGUMENT.
 * 2. Error text. orv_db_get_error_str() gives the text of the last failure. There is one text for the whole process,
 *     at most 127 characters and a NUL, without a lock: two threads that fail at once overwrite each other, and a
 *     reader may see a mixture. It is cleared at the start of every open, query, insert, update and delete. A function
 *     whose comment says "Error text: untouched" neither clears nor sets it.
 * 3. Ownership. The caller owns handles, results and content values and releases each exactly once with its own
 *     function: orv_db_close(), orv_db_free_result(), orv_db_free_content_values(). Strings and arrays that are passed
 *     in stay the caller's and need to live only for the call. Pointers handed out live as long as the object they
 *     came from.
 * 4. Threads. Any function may be called on any thread. Several threads may share a handle for raw queries without
 *     rows, inserts, updates, deletes, transactions, tests and counters: these calls run one at a time. A call of
 *     orv_db_query() and the reading of its result need the handle for themselves. A result and a content-values
 *     container belong to one thread at a time. A transaction belongs to the handle, not to the thread: give each
 *     thread that runs transactions a handle of its own.
 * 5. Fork. A forked child starts with no registrations and a connection to the notification server of its own. It
 *     neither uses, closes nor frees the handles and results that it inherited; it opens its own. fork() waits for a
 *     registration under way (up to 2 seconds), for a writer blocked on the notification socket and for a notification
 *     server that has sent half a record and stopped. A child that is made while no notification server runs gets
 *     ORV_DB_GONE for registrations until it has announced a change, which is what connects it. A child made inside a
 *     callback ends itself by exec or _exit(): if the callback returns there, the child ends with _exit(0).
 * 6. Signals. Loading the library takes two signals process-wide: SIGPIPE is ignored, and SIGRTMAX-1 stops the
 *     library's message thread. That thread has every other signal blocked but those of program faults, so an
 *     application's signals go to its own threads.
 * 7. Exit. exit() stops the message thread and waits for it. Called from inside a callback it takes up to 6 seconds,
 *     since it waits for its own thread. A thread that is still inside the library when the process exits is safe; from
 *     then on orv_db_open() returns NULL and nothing is announced. The library stays mapped after dlclose().
 * 8. Announcements. Insert, update, delete and commit tell the other processes of the change, through the
 *     notification server. Whether that worked is not reported: the write itself has been done. Changes made by
 *     programs that do not use this library are not announced; see orv_db_notify_change().
 * 9. Memory. When memory runs out, queries, table operations and registrations return ORV_DB_NO_MEMORY and
 *     orv_db_open() returns NULL. After a write that was done the status is ORV_DB_OK even if its announcement was lost
 *     for lack of memory. orv_db_get_content_values() and the put functions let the C++ exception std::bad_alloc pass.
 * 10. Exceptions. Besides that, exactly one is thrown: a NULL host or database name given to orv_db_open() leaves as a
 *     C++ std::logic_error. Callbacks must not throw.
 *
 * Limits worth knowing
 * --------------------
 *  - A connection lost inside a transaction takes what was written with it. Mostly the next write, query or commit
 *    fails: roll back then. But the loss may also be met by the end of a statement that has succeeded, or by
 *    orv_db_test_connection(). Then the connection is re-established silently, later writes are committed one by one,
 *    and the commit returns ORV_DB_OK. To be sure, compare "SELECT CONNECTION_ID()", by orv_db_raw_query(), after the
 *    begin and right before the commit.
 *  - A result of orv_db_query() must be read before its handle is closed or reconnects; freeing it later is fine. A
 *    result of orv_db_raw_query() is independent of its handle.
 *  - A stored procedure that returns rows leaves the connection out of step with the server: the next call fails, or
 *    is run on a new connection. Close the handle.
 *  - Database and table names of 64 bytes and more are cut to 63 in announcements and registrations, so they never
 *    match a registration.
 *  - An update announces the row id of the first matching row alone.
 *  - When the notification server is gone for 34 minutes, the library stops looking for it. From then on
 *    ORV_DB_GONE from orv_db_notify_change() is the only sign.
 *  - To keep a copy of a table current, register first and load afterwards; the other way round misses what changes in
 *    between.
 */
#ifndef ORVDB_CLIENT_H
#define ORVDB_CLIENT_H

#ifdef __cplusplus
extern "C" {
#endif

/** The version of this header and library. The major number is the one in the shared library's name. */
#define ORV_DB_VERSION_MAJOR 1
#define ORV_DB_VERSION_MINOR 0 /**< Grows when the interface grows. */
#define ORV_DB_VERSION_PATCH 0 /**< Grows with every other release. */

/** Marks the functions that the shared library exports. */
#if defined(__GNUC__)
#define ORV_DB_API __attribute__((visibility("default")))
#else
#define ORV_DB_API
#endif

/* ---------------------------------------------------------------------------------------------------------- types */

/** A connection to the database server. Opened by orv_db_open(), released by orv_db_close(). */
typedef struct _orv_db_handle_t _orv_db_handle_t;

/** The rows of a query. Made by orv_db_query() or orv_db_raw_query(), released by orv_db_free_result(). */
typedef struct ResultSetInfo ResultSetInfo;

/** Column names and values for an insert or update. Made by orv_db_get_content_values(). */
typedef struct _orv_db_content_values_t _orv_db_content_values_t;

/** What a function reports. Functions return these as `int` or `unsigned int`. */
enum {
  ORV_DB_OK = 0,               /**< Success. */
  ORV_DB_ERROR = 1,            /**< Any other failure; the error text has the reason where the server gave one. */
  ORV_DB_INVALID_ARGUMENT = 3, /**< A pointer is NULL, a container is empty, a column is out of range or the number
                                    of parameters is not that of the placeholders. Correct the call. */
  ORV_DB_NO_MEMORY = 4,        /**< Out of memory. */
  ORV_DB_NO_EVENT_MANAGER = 6, /**< The notification client could not be created for lack of memory. */
  ORV_DB_NO_REPLY = 7,         /**< The notification server did not confirm within 2 seconds. Try again. */
  ORV_DB_ROW = 9,              /**< Step: a row is current. */
  ORV_DB_DONE = 10,            /**< Step: there are no more rows. */
  ORV_DB_NO_ROW = 11,          /**< Getter: there is no current row. Step first. */
  ORV_DB_GONE = 12,            /**< The database server, or the notification server, is not connected. */
  ORV_DB_LOST = 13,            /**< The connection broke during the call. Whether a write was done is unknown. */
  ORV_DB_COMMIT_FAILED = 14    /**< The commit failed; nothing of it is announced. */
};

/** Type of a parameter, of a content value and of a result column. */
typedef enum _orv_db_type_t {
  ORV_DB_TYPE_CHAR = 1,      /**< 8-bit integer: TINYINT. */
  ORV_DB_TYPE_SHORT_INT = 2, /**< 16-bit integer: SMALLINT. */
  ORV_DB_TYPE_INT = 3,       /**< 32-bit integer: INT. */
  ORV_DB_TYPE_INT64 = 4,     /**< 64-bit integer: BIGINT. */
  ORV_DB_TYPE_FLOAT = 5,     /**< Single-precision number: FLOAT. */
  ORV_DB_TYPE_DOUBLE = 6,    /**< Double-precision number: DOUBLE; also DECIMAL columns. */
  ORV_DB_TYPE_TEXT = 7,      /**< Characters: CHAR and VARCHAR. */
  ORV_DB_TYPE_BLOB = 8,      /**< Bytes: BLOB; also TEXT columns, which the server reports in the same way. */
  ORV_DB_TYPE_UNKNOWN = 9,   /**< Any other column type, among them MEDIUMINT, dates and times, YEAR, BIT. As a
                                  parameter's type it means SQL NULL, as does every other code outside 1 to 8. */
  ORV_DB_TYPE_FORCE_32_BITS = 0x7fffffff /**< Not a type: gives the enumeration 32 bits in C and C++. */
} _orv_db_type_t;

/** What happened to a table. A bit mask; only the low three bits have a meaning. */
typedef enum _orv_db_action_t {
  ORV_DB_ACTION_INSERT = 1, /**< A row was inserted. */
  ORV_DB_ACTION_UPDATE = 2, /**< Rows were updated; the row id is that of the first, or all bits set if unknown. */
  ORV_DB_ACTION_DELETE = 4, /**< Rows were deleted; the row id has all bits set. */
  ORV_DB_ACTION_ALL = 7,    /**< An unspecified change of the whole table, such as a commit; the row id is 0. */
  ORV_DB_ACTION_FORCE_32_BITS = 0x7fffffff /**< Not an action: gives the enumeration 32 bits in C and C++. */
} _orv_db_action_t;

/**
 * One value for a "?" placeholder of a statement. An SQL NULL is a `type` outside 1 to 8, for example 0 or
 * ORV_DB_TYPE_UNKNOWN. The record and the bytes it points at must stay unchanged during the call.
 */
typedef struct _orv_db_param_t {
  _orv_db_type_t type;       /**< Selects the member of `value` that is read. */
  unsigned long length;      /**< Bytes of a text or blob; ignored for the other types. */
  unsigned char is_unsigned; /**< Non-zero when an integer is unsigned. */
  union {
    char c;           /**< ORV_DB_TYPE_CHAR */
    short s;          /**< ORV_DB_TYPE_SHORT_INT */
    int i;            /**< ORV_DB_TYPE_INT */
    long long i64;    /**< ORV_DB_TYPE_INT64 */
    float f;          /**< ORV_DB_TYPE_FLOAT */
    double d;         /**< ORV_DB_TYPE_DOUBLE */
    const void *data; /**< ORV_DB_TYPE_TEXT and ORV_DB_TYPE_BLOB: the caller's bytes, `length` of them; a text needs
                           no NUL. NULL is an empty text or blob, whatever `length` says. */
  } value;            /**< The value itself. */
} _orv_db_param_t;

/**
 * Called when a table that was registered has changed. Runs on the library's message thread, one call at a time, with
 * no lock of the library held; while it runs no other event is delivered. It may use the database, cancel, and
 * announce changes; a registration made inside it returns ORV_DB_NO_REPLY after 2 seconds, since its own thread would
 * have to read the reply. It may still be called once while another thread cancels it. It must not throw.
 *
 * @param db         Database name, valid during the call only.
 * @param table      Table name, valid during the call only.
 * @param action     What happened, a mask of ::_orv_db_action_t.
 * @param row_id     Row id; 0 when any row of the table may have changed, as after a commit or when the notification
 *                   server reminds of what may have been missed; all bits set when the row is not known.
 * @param user_data  The pointer given at registration.
 */
typedef void (*orv_db_change_cb)(const char *db, const char *table, _orv_db_action_t action, unsigned long long row_id,
                                 void *user_data);

/* ---------------------------------------------------------------------------------------------------------- start */

/**
 * Repeats what failed when the library was loaded: the start of the notification client and the registration of the
 * fork handlers. Database work is possible without either. Does nothing when both are in place.
 *
 * @return ORV_DB_OK when both are in place now, else ORV_DB_ERROR (usually: no notification server is running).
 *
 * Error text: untouched. Threads: any, but one at a time. Announces: nothing.
 */
ORV_DB_API int orv_db_retry_init(void);

/* ---------------------------------------------------------------------------------------------------- connections */

/**
 * Opens a connection to the database server, in auto-commit mode. Connect, read and write each time out after
 * 20 seconds; a connection that was lost is re-established by the next call that needs it. Further options are read
 * from the file /etc/my.cnf. A connection to the database "eventlogdb" uses the character set utf8.
 *
 * @param host    Host name or address, never NULL.
 * @param user    User name; NULL for the client library's default.
 * @param passwd  Password; NULL for none.
 * @param db      Database name, never NULL. Every change made on the handle is announced under this name.
 * @param port    TCP port; 0 for the client library's default.
 * @return A handle, to be released with orv_db_close(), or NULL with the reason in the error text; also NULL once the
 *         process exits.
 * @throws std::logic_error when @p host or @p db is NULL.
 *
 * Error text: cleared, set on failure. Threads: any, any number at once. Announces: nothing.
 */
ORV_DB_API _orv_db_handle_t *orv_db_open(const char *host, const char *user, const char *passwd, const char *db,
                                         unsigned int port);

/**
 * Closes a connection and releases its handle. An open transaction is rolled back by the server. A handle that is not
 * open (closed before) is left alone.
 *
 * @param handle  The handle; NULL is ignored.
 *
 * Error text: untouched. Threads: any, once no other thread uses the handle. Announces: nothing.
 */
ORV_DB_API void orv_db_close(_orv_db_handle_t *handle);

/**
 * Asks the server whether the connection is alive, and re-establishes it if it was lost.
 *
 * @param handle  The handle.
 * @return ORV_DB_OK: alive. ORV_DB_LOST: the server does not answer. ORV_DB_ERROR: @p handle is NULL.
 *
 * Error text: set when the server does not answer, else untouched. Threads: any. Announces: nothing.
 */
ORV_DB_API int orv_db_test_connection(_orv_db_handle_t *handle);

/**
 * Gives the process-wide text of the last failure.
 *
 * @return The text itself, not a copy; never NULL; empty when nothing has failed since it was cleared. It belongs to
 *         the library and changes with the next call that fails.
 *
 * Threads: any, without a lock. Announces: nothing.
 */
ORV_DB_API const char *orv_db_get_error_str(void);

/**
 * Gives the number of rows that the handle's last raw query changed or returned.
 *
 * @param handle  The handle.
 * @return The number of rows; all bits set after a failed query. 3 when @p handle is NULL, which cannot be told from a
 *         count of 3.
 *
 * Error text: untouched. Threads: any; with a shared handle the last statement may be another thread's.
 * Announces: nothing.
 */
ORV_DB_API unsigned long long orv_db_raw_affected_rows(_orv_db_handle_t *handle);

/**
 * Gives the AUTO_INCREMENT value that the handle's last raw query made.
 *
 * @param handle  The handle.
 * @return The value, 0 when none was made. 3 when @p handle is NULL, which cannot be told from a value of 3.
 *
 * Error text: untouched. Threads: any; with a shared handle the last statement may be another thread's.
 * Announces: nothing.
 */
ORV_DB_API unsigned long long orv_db_raw_insert_id(_orv_db_handle_t *handle);

/* --------------------------------------------------------------------------------------------------- transactions */

/**
 * Begins a transaction: writes on the handle take effect together at the commit, and are announced then. The server's
 * answer is not examined.
 *
 * @param handle  The handle.
 * @return ORV_DB_OK, or ORV_DB_INVALID_ARGUMENT when @p handle is NULL.
 *
 * Error text: untouched. Threads: any; a transaction is meant for one thread per handle. Announces: nothing.
 */
ORV_DB_API int orv_db_begin_transaction(_orv_db_handle_t *handle);

/**
 * Commits the handle's transaction and returns to auto-commit mode, also when the commit fails.
 *
 * @param handle  The handle.
 * @return ORV_DB_OK; ORV_DB_COMMIT_FAILED: the server refused or could not be reached, and the list of changed tables
 *         is dropped; ORV_DB_INVALID_ARGUMENT: @p handle is NULL.
 *
 * Error text: untouched. Threads: any; a transaction is meant for one thread per handle.
 * Announces: for each table written in a transaction on this handle, in byte order of the names, the action
 * ORV_DB_ACTION_ALL with row id 0. The list is kept: a later commit on the handle announces the same tables again, and
 * tables written in a transaction that was rolled back are announced too. It ends with a failed commit or when the
 * handle is opened afresh.
 */
ORV_DB_API int orv_db_commit_transaction(_orv_db_handle_t *handle);

/**
 * Rolls the handle's transaction back and returns to auto-commit mode. The server's answers are not examined.
 *
 * @param handle  The handle.
 * @return ORV_DB_OK, or ORV_DB_INVALID_ARGUMENT when @p handle is NULL.
 *
 * Error text: untouched. Threads: any; a transaction is meant for one thread per handle.
 * Announces: nothing, but the tables written stay on the handle's list and are announced by its next commit.
 */
ORV_DB_API int orv_db_rollback_transaction(_orv_db_handle_t *handle);

/* -------------------------------------------------------------------------------------------------------- queries */

/**
 * Runs SQL text as it stands. Rows are read whole into memory.
 *
 * @param handle  The handle.
 * @param sql     SQL text, one statement; needs no NUL.
 * @param length  Bytes of @p sql.
 * @param result  Where to store the rows; NULL when they are not wanted. Set to NULL by a statement without rows and on
 *                failure. A result is released with orv_db_free_result().
 * @return ORV_DB_OK. ORV_DB_INVALID_ARGUMENT: @p handle or @p sql is NULL, or @p length is 0. ORV_DB_ERROR: the server
 *         refused the statement. ORV_DB_GONE, ORV_DB_LOST: the connection broke while rows were read.
 *         ORV_DB_NO_MEMORY.
 *
 * Error text: cleared, set on failure. Threads: any.
 * Announces: nothing, with one exception: a statement that returned rows, names the table "Firmwares" and does not
 * contain the word "select" announces ORV_DB_ACTION_ALL with row id 0 for that table. Use orv_db_notify_change() after
 * other writes.
 */
ORV_DB_API unsigned int orv_db_raw_query(_orv_db_handle_t *handle, const char *sql, unsigned long length,
                                         ResultSetInfo **result);

/**
 * Runs SELECT columns FROM table WHERE where ORDER BY orderBy. The texts are inserted as they stand: quote names where
 * SQL asks for it, and pass values through "?" placeholders in @p where. Rows are read whole into memory.
 *
 * @param handle       The handle; no other thread may use it until the result has been read.
 * @param table        Table name, or any text that may follow FROM.
 * @param columns      Column names; NULL for all columns. A NULL name among them ends the statement text there, which
 *                     the server then refuses.
 * @param columnCount  Number of @p columns; 0 for all columns.
 * @param where        Text after WHERE; NULL for every row.
 * @param params       Values for the placeholders, in order; may be NULL when @p paramCount is 0.
 * @param paramCount   Number of @p params.
 * @param orderBy      Text after ORDER BY; NULL for the server's order.
 * @param result       Where to store the rows, never NULL; set to NULL on failure, but left alone when @p handle or
 *                     @p table is NULL. Released with orv_db_free_result().
 * @return ORV_DB_OK, also when no row matches. ORV_DB_INVALID_ARGUMENT: @p handle, @p table or @p result is NULL, or
 *         @p paramCount is not the number of placeholders (the error text stays empty). ORV_DB_ERROR: the statement
 *         could not be prepared or run, whatever the reason. ORV_DB_NO_MEMORY.
 *
 * Error text: cleared, set on failure. Threads: any, see @p handle. Announces: nothing.
 */
ORV_DB_API unsigned int orv_db_query(_orv_db_handle_t *handle, const char *table, const char **columns,
                                     unsigned int columnCount, const char *where, const _orv_db_param_t *params,
                                     unsigned int paramCount, const char *orderBy, ResultSetInfo **result);

/* -------------------------------------------------------------------------------------------------------- results
 *
 * A result starts before its first row; orv_db_result_step() makes the next row current. Columns are numbered from 0.
 * The functions below never touch the error text and announce nothing; one thread at a time may use a result.
 *
 * The getters return ORV_DB_OK; ORV_DB_INVALID_ARGUMENT when a pointer is NULL, a size is 0 or the column is out of
 * range; ORV_DB_NO_ROW when no row is current. An SQL NULL reads as 0, as an empty text, or as one 0 byte, with
 * ORV_DB_OK; orv_db_result_column_is_null() tells it from a value. Values of another type are converted; failures of a
 * conversion are not reported. Numbers too large for the getter: a result of orv_db_raw_query() reads integers as a
 * 32-bit `long` would (the 64-bit getters as a `long long`), ending at the limits, and then cuts them to the getter's
 * width, the same on every platform; a result of orv_db_query() leaves them to the client library.
 */

/**
 * Releases a result. Freeing one twice is an error that the library does not always notice.
 *
 * @param result  The result; NULL is ignored. In a process other than the one that made the query nothing is sent to
 *                the server.
 */
ORV_DB_API void orv_db_free_result(ResultSetInfo *result);

/**
 * Gives the number of rows.
 * @param result  The result.
 * @return Number of rows, or -1 when @p result is NULL.
 */
ORV_DB_API long long orv_db_result_row_count(ResultSetInfo *result);

/**
 * Gives the number of columns.
 * @param result  The result.
 * @return Number of columns, or -1 when @p result is NULL.
 */
ORV_DB_API int orv_db_result_column_count(ResultSetInfo *result);

/**
 * Makes the next row current.
 * @param result  The result.
 * @return ORV_DB_ROW: a row is current. ORV_DB_DONE: there are no more rows, and none is current. ORV_DB_ERROR: the row
 *         could not be read. ORV_DB_INVALID_ARGUMENT: @p result is NULL.
 */
ORV_DB_API unsigned int orv_db_result_step(ResultSetInfo *result);

/**
 * Goes back to before the first row. The row that was current stays readable until the next step.
 * @param result  The result.
 * @return ORV_DB_OK. ORV_DB_ERROR: there are no rows to go back in. ORV_DB_INVALID_ARGUMENT: @p result is NULL.
 */
ORV_DB_API unsigned int orv_db_result_reset(ResultSetInfo *result);

/**
 * Gives the name of a column.
 * @param result  The result.
 * @param index   Column number from 0.
 * @return The name, owned by the result; NULL when @p result is NULL or @p index out of range.
 */
ORV_DB_API const char *orv_db_result_column_name(ResultSetInfo *result, unsigned int index);

/**
 * Gives the type of a column.
 * @param result  The result.
 * @param index   Column number from 0.
 * @param type    Where to store the type.
 * @return ORV_DB_OK, or ORV_DB_INVALID_ARGUMENT when a pointer is NULL or @p index out of range. Needs no current row.
 */
ORV_DB_API unsigned int orv_db_result_column_type(ResultSetInfo *result, unsigned int index, _orv_db_type_t *type);

/**
 * Finds a column by its name, without regard to case.
 * @param result  The result.
 * @param name    Column name.
 * @return Number of the first column of that name, or -1 when there is none or a pointer is NULL.
 */
ORV_DB_API int orv_db_result_column_index(ResultSetInfo *result, const char *name);

/**
 * Tells whether a column of the current row is SQL NULL.
 * @param result  The result.
 * @param index   Column number from 0.
 * @param isNull  Where to store 1 for NULL, else 0.
 * @return As all getters.
 */
ORV_DB_API unsigned int orv_db_result_column_is_null(ResultSetInfo *result, unsigned int index, int *isNull);

/**
 * Gives the length of a column of the current row: of a text or blob its full length, whatever fits a buffer.
 * @param result  The result.
 * @param index   Column number from 0.
 * @param bytes   Where to store the number of bytes, without a terminator; 0 for NULL.
 * @return As all getters.
 */
ORV_DB_API unsigned int orv_db_result_column_bytes(ResultSetInfo *result, unsigned int index, unsigned long *bytes);

/**
 * Reads a column of the current row as a signed 8-bit integer.
 * @param result  The result.
 * @param index   Column number from 0.
 * @param out     Where to store the value.
 * @return As all getters.
 */
ORV_DB_API unsigned int orv_db_result_column_char(ResultSetInfo *result, unsigned int index, char *out);

/**
 * Reads a column of the current row as an unsigned 8-bit integer.
 * @param result  The result.
 * @param index   Column number from 0.
 * @param out     Where to store the value.
 * @return As all getters.
 */
ORV_DB_API unsigned int orv_db_result_column_uchar(ResultSetInfo *result, unsigned int index, unsigned char *out);

/**
 * Reads a column of the current row as a signed 16-bit integer.
 * @param result  The result.
 * @param index   Column number from 0.
 * @param out     Where to store the value.
 * @return As all getters.
 */
ORV_DB_API unsigned int orv_db_result_column_short_int(ResultSetInfo *result, unsigned int index, short *out);

/**
 * Reads a column of the current row as an unsigned 16-bit integer.
 * @param result  The result.
 * @param index   Column number from 0.
 * @param out     Where to store the value.
 * @return As all getters.
 */
ORV_DB_API unsigned int orv_db_result_column_short_uint(ResultSetInfo *result, unsigned int index, unsigned short *out);

/**
 * Reads a column of the current row as a signed 32-bit integer.
 * @param result  The result.
 * @param index   Column number from 0.
 * @param out     Where to store the value.
 * @return As all getters.
 */
ORV_DB_API unsigned int orv_db_result_column_int(ResultSetInfo *result, unsigned int index, int *out);

/**
 * Reads a column of the current row as an unsigned 32-bit integer.
 * @param result  The result.
 * @param index   Column number from 0.
 * @param out     Where to store the value.
 * @return As all getters.
 */
ORV_DB_API unsigned int orv_db_result_column_uint(ResultSetInfo *result, unsigned int index, unsigned int *out);

/**
 * Reads a column of the current row as a signed 64-bit integer.
 * @param result  The result.
 * @param index   Column number from 0.
 * @param out     Where to store the value.
 * @return As all getters.
 */
ORV_DB_API unsigned int orv_db_result_column_int64(ResultSetInfo *result, unsigned int index, long long *out);

/**
 * Reads a column of the current row as an unsigned 64-bit integer.
 * @param result  The result.
 * @param index   Column number from 0.
 * @param out     Where to store the value.
 * @return As all getters.
 */
ORV_DB_API unsigned int orv_db_result_column_uint64(ResultSetInfo *result, unsigned int index, unsigned long long *out);

/**
 * Reads a column of the current row as a single-precision number.
 * @param result  The result.
 * @param index   Column number from 0.
 * @param out     Where to store the value.
 * @return As all getters.
 */
ORV_DB_API unsigned int orv_db_result_column_float(ResultSetInfo *result, unsigned int index, float *out);

/**
 * Reads a column of the current row as a double-precision number.
 * @param result  The result.
 * @param index   Column number from 0.
 * @param out     Where to store the value.
 * @return As all getters.
 */
ORV_DB_API unsigned int orv_db_result_column_double(ResultSetInfo *result, unsigned int index, double *out);

/**
 * Copies a column of the current row as text, always with a NUL at the end. A text that does not fit is cut to
 * `size - 1` bytes without notice; orv_db_result_column_bytes() gives its full length.
 * @param result  The result.
 * @param index   Column number from 0.
 * @param buf     Where to store the text.
 * @param size    Bytes of @p buf, 1 at least.
 * @return As all getters.
 */
ORV_DB_API unsigned int orv_db_result_column_text(ResultSetInfo *result, unsigned int index, char *buf,
                                                  unsigned long size);

/**
 * Copies the bytes of a column of the current row, without a terminator. What does not fit is cut without notice;
 * orv_db_result_column_bytes() gives the full length.
 * @param result  The result.
 * @param index   Column number from 0.
 * @param buf     Where to store the bytes.
 * @param size    Bytes of @p buf, 1 at least.
 * @return As all getters.
 */
ORV_DB_API unsigned int orv_db_result_column_blob(ResultSetInfo *result, unsigned int index, unsigned char *buf,
                                                  unsigned long size);

/* ------------------------------------------------------------------------------------------------- content values
 *
 * A container holds one value per column, in byte order of the column names; names are case-sensitive. A put replaces
 * an earlier value of that column. Names and values are copied. Tables never change a container: it serves any number
 * of statements. The functions below touch neither the error text nor the server and announce nothing; one thread at a
 * time may use a container.
 *
 * The put functions return ORV_DB_OK, or ORV_DB_INVALID_ARGUMENT when the container or the column name is NULL.
 */

/**
 * Makes an empty container.
 * @return The container, never NULL; released with orv_db_free_content_values().
 * @throws std::bad_alloc when memory runs out; so do the put functions.
 */
ORV_DB_API _orv_db_content_values_t *orv_db_get_content_values(void);

/**
 * Releases a container and everything in it.
 * @param content  The container; NULL is ignored.
 */
ORV_DB_API void orv_db_free_content_values(_orv_db_content_values_t *content);

/**
 * Removes every value; the container can be filled again.
 * @param content  The container; NULL is ignored.
 */
ORV_DB_API void orv_db_content_clear(_orv_db_content_values_t *content);

/**
 * Puts SQL NULL.
 * @param content  The container.
 * @param column   Column name.
 * @return As all put functions.
 */
ORV_DB_API int orv_db_content_put_null(_orv_db_content_values_t *content, const char *column);

/**
 * Puts a signed 8-bit integer.
 * @param content  The container.
 * @param column   Column name.
 * @param value    The value.
 * @return As all put functions.
 */
ORV_DB_API int orv_db_content_put_char(_orv_db_content_values_t *content, const char *column, char value);

/**
 * Puts an unsigned 8-bit integer.
 * @param content  The container.
 * @param column   Column name.
 * @param value    The value.
 * @return As all put functions.
 */
ORV_DB_API int orv_db_content_put_uchar(_orv_db_content_values_t *content, const char *column, unsigned char value);

/**
 * Puts a signed 16-bit integer.
 * @param content  The container.
 * @param column   Column name.
 * @param value    The value.
 * @return As all put functions.
 */
ORV_DB_API int orv_db_content_put_short_int(_orv_db_content_values_t *content, const char *column, short value);

/**
 * Puts an unsigned 16-bit integer.
 * @param content  The container.
 * @param column   Column name.
 * @param value    The value.
 * @return As all put functions.
 */
ORV_DB_API int orv_db_content_put_short_uint(_orv_db_content_values_t *content, const char *column,
                                             unsigned short value);

/**
 * Puts a signed 32-bit integer.
 * @param content  The container.
 * @param column   Column name.
 * @param value    The value.
 * @return As all put functions.
 */
ORV_DB_API int orv_db_content_put_int(_orv_db_content_values_t *content, const char *column, int value);

/**
 * Puts an unsigned 32-bit integer.
 * @param content  The container.
 * @param column   Column name.
 * @param value    The value.
 * @return As all put functions.
 */
ORV_DB_API int orv_db_content_put_uint(_orv_db_content_values_t *content, const char *column, unsigned int value);

/**
 * Puts a signed 64-bit integer.
 * @param content  The container.
 * @param column   Column name.
 * @param value    The value.
 * @return As all put functions.
 */
ORV_DB_API int orv_db_content_put_int64(_orv_db_content_values_t *content, const char *column, long long value);

/**
 * Puts an unsigned 64-bit integer.
 * @param content  The container.
 * @param column   Column name.
 * @param value    The value.
 * @return As all put functions.
 */
ORV_DB_API int orv_db_content_put_uint64(_orv_db_content_values_t *content, const char *column,
                                         unsigned long long value);

/**
 * Puts a single-precision number.
 * @param content  The container.
 * @param column   Column name.
 * @param value    The value.
 * @return As all put functions.
 */
ORV_DB_API int orv_db_content_put_float(_orv_db_content_values_t *content, const char *column, float value);

/**
 * Puts a double-precision number.
 * @param content  The container.
 * @param column   Column name.
 * @param value    The value.
 * @return As all put functions.
 */
ORV_DB_API int orv_db_content_put_double(_orv_db_content_values_t *content, const char *column, double value);

/**
 * Puts a text.
 * @param content  The container.
 * @param column   Column name.
 * @param text     NUL-terminated text, copied; may be empty. NULL changes nothing and returns ORV_DB_OK.
 * @return As all put functions.
 */
ORV_DB_API int orv_db_content_put_text(_orv_db_content_values_t *content, const char *column, const char *text);

/**
 * Puts bytes.
 * @param content  The container.
 * @param column   Column name.
 * @param data     The bytes, copied. NULL changes nothing and returns ORV_DB_OK.
 * @param length   Number of bytes; 0 stores an empty blob.
 * @return As all put functions.
 */
ORV_DB_API int orv_db_content_put_blob(_orv_db_content_values_t *content, const char *column, const void *data,
                                       unsigned int length);

/* ----------------------------------------------------------------------------------------------- table operations
 *
 * Table names, column names and WHERE texts are inserted into the statement as they stand; values travel apart from
 * it. Statuses of all three: ORV_DB_OK, also when no row was changed; ORV_DB_INVALID_ARGUMENT for a NULL pointer that
 * must not be, an empty container or a wrong number of parameters; ORV_DB_ERROR when the statement could not be
 * prepared or run, whatever the reason, a lost connection included; ORV_DB_NO_MEMORY. ORV_DB_GONE and ORV_DB_LOST are
 * reserved for a client library that reports them. Counters are 0 on every failure.
 */

/**
 * Inserts one row.
 *
 * @param handle         The handle.
 * @param table          Table name.
 * @param content        Values of the row, not empty.
 * @param affected_rows  Where to store the number of rows inserted; may be NULL.
 * @param insert_id      Where to store the row's AUTO_INCREMENT value; may be NULL.
 * @return As all table operations; ORV_DB_INVALID_ARGUMENT when @p handle, @p table or @p content is NULL or the
 *         container is empty.
 *
 * Error text: cleared, set on failure. Threads: any; a handle may be shared.
 * Announces: ORV_DB_ACTION_INSERT with the insert id, at once in auto-commit mode, otherwise the table at the commit.
 * Nothing when no row was inserted in auto-commit mode.
 */
ORV_DB_API int orv_db_insert(_orv_db_handle_t *handle, const char *table, const _orv_db_content_values_t *content,
                             unsigned long long *affected_rows, unsigned long long *insert_id);

/**
 * Updates the rows that match. Before that the column "_id" of the first matching row is looked up for the
 * announcement; a table without that column is announced with row id "unknown".
 *
 * @param handle             The handle.
 * @param table              Table name.
 * @param content            New values, not empty. The statement text that they make with @p where must be shorter than
 *                           4096 bytes (names and placeholders, not values): a longer one ends the process by abort()
 *                           after a line on stderr.
 * @param where              Text after WHERE, with placeholders; NULL for every row.
 * @param where_params       Values for the placeholders; may be NULL.
 * @param where_param_count  Number of @p where_params; 0 or less for none.
 * @param affected_rows      Where to store the number of rows changed; may be NULL.
 * @return As all table operations; ORV_DB_INVALID_ARGUMENT when @p handle, @p table or @p content is NULL or the
 *         container is empty.
 *
 * Error text: cleared, set on failure. Threads: any; a handle may be shared. Another thread or process may change the
 * table between the look-up and the update.
 * Announces: ORV_DB_ACTION_UPDATE with the row id of the first matching row alone (all bits set if unknown), at once in
 * auto-commit mode, otherwise the table at the commit. Nothing when no row was changed in auto-commit mode.
 */
ORV_DB_API int orv_db_update(_orv_db_handle_t *handle, const char *table, const _orv_db_content_values_t *content,
                             const char *where, const _orv_db_param_t *where_params, int where_param_count,
                             unsigned long long *affected_rows);

/**
 * Deletes the rows that match.
 *
 * @param handle         The handle.
 * @param table          Table name.
 * @param where          Text after WHERE, with placeholders; NULL for every row.
 * @param params         Values for the placeholders; may be NULL.
 * @param param_count    Number of @p params.
 * @param affected_rows  Where to store the number of rows deleted; may be NULL.
 * @return As all table operations; ORV_DB_INVALID_ARGUMENT when @p handle or @p table is NULL.
 *
 * Error text: cleared, set on failure. Threads: any; a handle may be shared.
 * Announces: ORV_DB_ACTION_DELETE with all bits of the row id set, also when no row was deleted; at once in auto-commit
 * mode, otherwise the table at the commit.
 */
ORV_DB_API int orv_db_delete(_orv_db_handle_t *handle, const char *table, const char *where,
                             const _orv_db_param_t *params, int param_count, unsigned long long *affected_rows);

/* --------------------------------------------------------------------------------------------------- notification
 *
 * Statuses of all three functions: ORV_DB_OK; ORV_DB_INVALID_ARGUMENT when a name is NULL or the action has none of the
 * bits 1, 2 and 4; ORV_DB_NO_EVENT_MANAGER when the notification client could not be created; ORV_DB_GONE when it is
 * not running (no server since the start, or none for 34 minutes); ORV_DB_LOST when the record could not be written
 * whole, as while the server restarts. None touches the error text. Any thread may call them. After a restart of the
 * server the library reconnects and repeats all registrations by itself.
 */

/**
 * Announces a change to the other processes. Inserts, updates, deletes and commits do this by themselves; call it
 * after writes made by other means. Starts the notification client if that has failed so far.
 *
 * @param db      Database name, never NULL; 63 bytes are sent at most.
 * @param table   Table name, never NULL; 63 bytes are sent at most.
 * @param action  What happened, a mask of ::_orv_db_action_t.
 * @param rowId   Row id; 0 for the whole table, all bits set for an unknown row.
 * @return As all notification functions.
 *
 * Announces: the change, to every process but this one that has registered for it.
 */
ORV_DB_API int orv_db_notify_change(const char *db, const char *table, _orv_db_action_t action,
                                    unsigned long long rowId);

/**
 * Asks to be called when a table changes. Names must match byte for byte. For one table each action has one callback:
 * a registration takes over the actions that it shares with the earliest registration that has any of them, and an
 * event calls the earliest registration that has its action. A registration whose action overlaps one with the same
 * callback and a NULL user pointer changes nothing, not even the mask; cancel first to widen it. Changes that this
 * process announces are not delivered to itself.
 *
 * @param db        Database name, never NULL.
 * @param table     Table name, never NULL.
 * @param action    Actions of interest, a mask of ::_orv_db_action_t.
 * @param userData  Handed to the callback; may be NULL. The caller keeps it alive until no call can come.
 * @param flag      Sent to the notification server with the registration; 0 unless the server gives it a meaning.
 * @param callback  The function to call, see ::orv_db_change_cb; NULL registers without a call.
 * @return As all notification functions; also ORV_DB_NO_REPLY when the server does not confirm within 2 seconds
 *         (always, inside a callback), ORV_DB_GONE when the connection is lost meanwhile, ORV_DB_NO_MEMORY. Nothing is
 *         registered then in this process.
 *
 * Announces: nothing.
 */
ORV_DB_API int orv_db_register_callback(const char *db, const char *table, _orv_db_action_t action, void *userData,
                                        unsigned char flag, orv_db_change_cb callback);

/**
 * Takes actions away from the earliest registration of a table that has any of them. A call that is already on its way
 * may still come.
 *
 * @param db      Database name, never NULL.
 * @param table   Table name, never NULL.
 * @param action  Actions to cancel, a mask of ::_orv_db_action_t.
 * @return As all notification functions; ORV_DB_OK also when nothing was registered. With ORV_DB_LOST the registration
 *         is cancelled in this process all the same.
 *
 * Announces: nothing.
 */
ORV_DB_API int orv_db_cancel_callback(const char *db, const char *table, _orv_db_action_t action);

#ifdef __cplusplus
}
#endif

#endif /* ORVDB_CLIENT_H */
