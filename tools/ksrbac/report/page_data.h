#ifndef KSRBAC_REPORT_PAGE_DATA_H
#define KSRBAC_REPORT_PAGE_DATA_H

#include "io/ByteSink.h"
#include "report/ReportSubject.h"

namespace ksrbac {

/// Writes what page/policy.js reads: one JSON object without '<', '>' and '&', so that it can be the content
/// of a script element whatever the names in it.
///
///     title, version   texts
///     cache, before    {id, covers, generation, definitions, changed, stamp}; `before` is null without one
///     operations       [name, bit] by name
///     roles            [id, name] by id, as far as names are known
///     names            the last component of each node but the root's, each with a bar behind it
///     ascents          for each node how many levels its parent is above the node before it
///     objects          for each node its state, counted from 1; 0 where the cache has no object
///     states           [inherits, set on the object, set on its children]
///     sets             role, word, bits, role, word, bits ...
///     changes          node, kind, scope, role, bit, node ...
void writePageData(const ReportSubject& subject, ByteSink& sink);

} // namespace ksrbac

#endif
