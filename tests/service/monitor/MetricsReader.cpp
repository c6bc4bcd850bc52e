#include "service/monitor/MetricsReader.h"

#include <cmath>
#include <regex>
#include <set>
#include <sstream>
#include <stdexcept>

namespace keepsafe_test {

namespace {

const std::string NAME = "[a-zA-Z_:][a-zA-Z0-9_:]*";
const std::string LABEL = "[a-zA-Z_][a-zA-Z0-9_]*=\"(?:[^\"\\\\\\n]|\\\\[\\\\\"n])*\"";

class MetricsReader {
public:
    std::map<std::string, double> read(const std::string& text)
    {
        if (text.empty() || text.back() != '\n') {
            throw std::runtime_error("the last line has no end");
        }
        std::istringstream lines(text);
        while (std::getline(lines, line_)) {
            line_[0] == '#' ? readComment() : readSample();
        }
        endMetric();
        return samples_;
    }

private:
    void require(bool isRight, const std::string& what) const
    {
        if (!isRight) {
            throw std::runtime_error(what + ": " + line_);
        }
    }

    void readComment()
    {
        static const std::regex help("# HELP (" + NAME + ") [^\\\\]+");
        static const std::regex type("# TYPE (" + NAME + ") (counter|gauge|histogram)");
        std::smatch parts;
        if (std::regex_match(line_, parts, help)) {
            endMetric();
            metric_ = parts[1];
            require(metrics_.insert(metric_).second, "a metric in two places");
            type_.clear();
            return;
        }
        require(std::regex_match(line_, parts, type), "neither HELP nor TYPE");
        require(parts[1] == metric_ && type_.empty(), "a TYPE that does not follow its HELP");
        type_ = parts[2];
        const std::string total = "_total";
        const bool isTotal = metric_.size() > total.size() &&
                             metric_.compare(metric_.size() - total.size(), total.size(), total) == 0;
        require((type_ == "counter") == isTotal, "a counter alone ends with _total");
    }

    void readSample()
    {
        static const std::regex sample("(" + NAME + ")(?:\\{(" + LABEL + "(?:," + LABEL +
                                       ")*)\\})? (\\+Inf|-?[0-9]+(?:\\.[0-9]+)?(?:e[+-][0-9]+)?)");
        std::smatch parts;
        require(std::regex_match(line_, parts, sample), "not a sample");
        const std::string name = parts[1];
        require(!type_.empty(), "a sample without a type");
        require(type_ == "histogram" ? name.compare(0, metric_.size() + 1, metric_ + "_") == 0
                                     : name == metric_,
                "a sample of another metric");
        const double value = parts[3] == "+Inf" ? HUGE_VAL : std::stod(parts[3]);
        const std::string series = line_.substr(0, line_.rfind(' '));
        require(samples_.emplace(series, value).second, "a series twice");
        require(type_ == "gauge" || value >= 0, "a counter below 0");
        if (type_ == "histogram") {
            readOfHistogram(name.substr(metric_.size()), parts[2], value);
        }
    }

    void readOfHistogram(const std::string& part, const std::string& labels, double value)
    {
        static const std::regex end("(.*),le=\"([^\"]+)\"");
        std::smatch parts;
        if (part == "_bucket") {
            require(std::regex_match(labels, parts, end), "a bucket without its end as the last label");
            const double upper = parts[2] == "+Inf" ? HUGE_VAL : std::stod(parts[2]);
            Histogram& histogram = histograms_[parts[1]];
            require(upper > histogram.end && value >= histogram.count, "buckets that do not grow");
            histogram.end = upper;
            histogram.count = value;
        } else if (part == "_count") {
            require(histograms_[labels].end == HUGE_VAL, "a histogram without +Inf");
            require(histograms_[labels].count == value, "a count that is not that of the last bucket");
            histograms_[labels].isCounted = true;
        } else {
            require(part == "_sum", "an unknown part of a histogram");
            histograms_[labels].isSummed = true;
        }
    }

    void endMetric()
    {
        for (const auto& [labels, histogram] : histograms_) {
            require(histogram.isCounted && histogram.isSummed,
                    "before this, a histogram without sum or count");
        }
        histograms_.clear();
    }

    struct Histogram {
        double end = -1;
        double count = 0;
        bool isCounted = false;
        bool isSummed = false;
    };

    std::string line_;
    std::string metric_;
    std::string type_;
    std::set<std::string> metrics_;
    std::map<std::string, Histogram> histograms_; ///< of the metric, by labels
    std::map<std::string, double> samples_;
};

} // namespace

std::map<std::string, double> readMetrics(const std::string& text) { return MetricsReader().read(text); }

} // namespace keepsafe_test
