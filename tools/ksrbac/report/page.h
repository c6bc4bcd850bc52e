#ifndef KSRBAC_REPORT_PAGE_H
#define KSRBAC_REPORT_PAGE_H

#include "io/ByteSink.h"
#include "report/ReportSubject.h"

namespace ksrbac {

/// Writes the page: one HTML document that needs no other. The same subject gives the same bytes.
void writePage(const ReportSubject& subject, ByteSink& sink);

} // namespace ksrbac

#endif
