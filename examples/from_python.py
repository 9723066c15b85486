#!/usr/bin/python3
"""The library from Python, through ctypes: first_program.c in another language.

  MYSQL_PWD=... from_python.py HOST USER DATABASE

Prints what other processes change in the table `item` until SIGINT or SIGTERM. What to mind in any language:
 - Declare the types of each function: a pointer that is taken for an int is cut to 32 bits.
 - Keep the callback in a variable for as long as it is registered: the library has no more than its address.
 - It is called on a thread of the library, perhaps once more when it is cancelled. Hence os._exit() in the end.
"""
import os
import signal
import sys
from ctypes import (CDLL, CFUNCTYPE, POINTER, Structure, c_char_p, c_int, c_longlong, c_ubyte, c_uint, c_ulong,
                    c_ulonglong, c_void_p, create_string_buffer)

OK, ROW, DONE, ACTION_ALL, TYPE_INT64 = 0, 9, 10, 7, 4  # as in orvdb_client.h


class Param(Structure):
    _fields_ = [("type", c_int), ("length", c_ulong), ("is_unsigned", c_ubyte), ("i64", c_longlong)]


Callback = CFUNCTYPE(None, c_char_p, c_char_p, c_int, c_ulonglong, c_void_p)
lib = CDLL("liborvdb_client.so.1")
for name, result, *arguments in (
        ("orv_db_get_error_str", c_char_p), ("orv_db_close", None, c_void_p),
        ("orv_db_open", c_void_p, c_char_p, c_char_p, c_char_p, c_char_p, c_uint),
        ("orv_db_register_callback", c_int, c_char_p, c_char_p, c_int, c_void_p, c_ubyte, Callback),
        ("orv_db_cancel_callback", c_int, c_char_p, c_char_p, c_int),
        ("orv_db_get_content_values", c_void_p), ("orv_db_free_content_values", None, c_void_p),
        ("orv_db_content_put_text", c_int, c_void_p, c_char_p, c_char_p),
        ("orv_db_content_put_int", c_int, c_void_p, c_char_p, c_int),
        ("orv_db_insert", c_int, c_void_p, c_char_p, c_void_p, POINTER(c_ulonglong), POINTER(c_ulonglong)),
        ("orv_db_query", c_uint, c_void_p, c_char_p, POINTER(c_char_p), c_uint, c_char_p, POINTER(Param), c_uint,
         c_char_p, POINTER(c_void_p)),
        ("orv_db_result_step", c_uint, c_void_p),
        ("orv_db_result_column_text", c_uint, c_void_p, c_uint, c_char_p, c_ulong),
        ("orv_db_free_result", None, c_void_p)):
    function = getattr(lib, name)
    function.restype, function.argtypes = result, arguments


def check(status, action, expected=OK):
    if status != expected:
        raise RuntimeError(f"cannot {action}: status {status} {lib.orv_db_get_error_str().decode(errors='replace')}")


@Callback
def print_change(db, table, action, row, _user_data):
    print(f"{db.decode()}.{table.decode()}: action {action}, row {row}", flush=True)


def add_lamp(database):
    lamp, row = lib.orv_db_get_content_values(), c_ulonglong()
    lib.orv_db_content_put_text(lamp, b"name", b"lamp")
    lib.orv_db_content_put_int(lamp, b"price", 1299)
    status = lib.orv_db_insert(database, b"item", lamp, None, row)
    lib.orv_db_free_content_values(lamp)
    check(status, "add a lamp")
    print(f"the new lamp is row {row.value}", flush=True)


def print_items(database, limit):
    columns, highest = (c_char_p * 2)(b"name", b"price"), Param(type=TYPE_INT64, i64=limit)
    rows, name, price = c_void_p(), create_string_buffer(64 * 4 + 1), create_string_buffer(12)
    status = lib.orv_db_query(database, b"item", columns, 2, b"price <= ?", highest, 1, b"price, name", rows)
    check(status, "read the items")
    while (status := lib.orv_db_result_step(rows)) == ROW:
        lib.orv_db_result_column_text(rows, 0, name, len(name))
        lib.orv_db_result_column_text(rows, 1, price, len(price))
        print(f"{name.value.decode()}: {price.value.decode()}", flush=True)
    lib.orv_db_free_result(rows)
    check(status, "read an item", DONE)


def main(host, user, db):
    ends = signal.SIGINT, signal.SIGTERM
    signal.pthread_sigmask(signal.SIG_BLOCK, ends)
    status = lib.orv_db_register_callback(db, b"item", ACTION_ALL, None, 0, print_change)
    check(status, "register (is orvdb_server running?)")
    database = lib.orv_db_open(host, user, os.environb.get(b"MYSQL_PWD"), db, 0)
    check(OK if database else 1, "open the database")
    add_lamp(database)
    print_items(database, 2000)
    signal.sigwait(ends)
    lib.orv_db_cancel_callback(db, b"item", ACTION_ALL)
    lib.orv_db_close(database)


if len(sys.argv) != 4:
    print("Usage: from_python.py HOST USER DATABASE", file=sys.stderr)
    sys.exit(2)
try:
    main(*map(os.fsencode, sys.argv[1:]))
    os._exit(0)
except RuntimeError as error:
    print(f"from_python.py: {error}", file=sys.stderr, flush=True)
    os._exit(1)
