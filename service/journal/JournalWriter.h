#ifndef KEEPSAFE_SERVICE_JOURNAL_JOURNALWRITER_H
#define KEEPSAFE_SERVICE_JOURNAL_JOURNALWRITER_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "database/Transaction.h"
#include "journal/Author.h"
#include "journal/JournalEntry.h"

namespace keepsafe_service {

/// Writes the entries of one change within the transaction that makes it: both are there, or neither. Keeps
/// a few entries at a time. Failures are thrown as `DatabaseError`.
class JournalWriter {
public:
    /// Takes the change's revision: until the end of the transaction no other one gets the next.
    JournalWriter(Transaction& transaction, const Author& author);

    void add(const JournalEntry& entry);
    /// Writes what is kept back. Afterwards the transaction may be committed.
    void finish();

private:
    void write();

    Transaction& transaction_;
    const std::string author_;
    const std::string time_;
    std::int32_t place_ = 0;
    Database::Texts parameters_; ///< of the entries that are kept back
    std::size_t bytes_ = 0;      ///< of these
};

/// Makes the first entry of a journal that has none: when it begins.
void beginJournal(Transaction& transaction);

} // namespace keepsafe_service

#endif
