#include "frame/reading_process.h"

ReadingProcess::ReadingProcess(SocketPair ends)
    : m_socket(std::move(ends.ours)), m_reader({BENCH_RECORD_READER}, Role::kReader, ends.theirs.get()) {}

ReadingProcess::ReadingProcess(RecordSocket source)
    : m_socket(std::move(source)), m_reader({BENCH_RECORD_READER}, Role::kReader, m_socket.descriptor()) {}
