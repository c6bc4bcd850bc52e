#include "service/monitor/MetricsReader.h"

#include <stdexcept>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace keepsafe_test {
namespace {

using testing::ElementsAre;
using testing::Pair;

const std::string HEAD = "# HELP a_total Help.\n# TYPE a_total counter\n";
const std::string HISTOGRAM = "# HELP h Help.\n# TYPE h histogram\n";

TEST(MetricsReader, ReadsSamplesByNameAndLabels)
{
    EXPECT_THAT(readMetrics(HEAD + "a_total{x=\"1\\\"\",y=\"\"} 2\na_total 3.5e+06\n"),
                ElementsAre(Pair("a_total", 3.5e6), Pair("a_total{x=\"1\\\"\",y=\"\"}", 2)));
}

TEST(MetricsReader, RefusesWhatAStrictReaderMightRefuse)
{
    for (const std::string& text :
         {std::string(), std::string("a_total 1\n"), HEAD + "a_total 1", HEAD + "a_total one\n",
          HEAD + "b 1\n", HEAD + "a_total 1\na_total 2\n", HEAD + "a_total -1\n",
          HEAD + "a_total{1x=\"\"} 1\n", HEAD + "a_total{x=\"\\q\"} 1\n", HEAD + "a_total{x=\"} 1\n",
          HEAD + "a_total  1\n", HEAD + HEAD, std::string("# HELP b Help.\n# TYPE b counter\nb 1\n"),
          std::string("# TYPE b gauge\nb 1\n"), HISTOGRAM + "h_bucket{le=\"+Inf\"} 1\nh_sum 1\nh_count 2\n",
          HISTOGRAM + "h_bucket{le=\"1\"} 1\nh_sum 1\nh_count 1\n",
          HISTOGRAM + "h_bucket{le=\"1\"} 2\nh_bucket{le=\"+Inf\"} 1\nh_sum 1\nh_count 1\n",
          HISTOGRAM + "h_bucket{le=\"+Inf\"} 1\nh_count 1\n"}) {
        EXPECT_THROW(static_cast<void>(readMetrics(text)), std::runtime_error) << text;
    }
}

} // namespace
} // namespace keepsafe_test
