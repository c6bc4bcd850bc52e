#ifndef KEEPSAFE_SERVICE_MONITOR_EXPOSITION_H
#define KEEPSAFE_SERVICE_MONITOR_EXPOSITION_H

#include <string>
#include <utility>
#include <vector>

namespace keepsafe_service {

/// Metrics in the text format of Prometheus, version 0.0.4.
class Exposition {
public:
    using Labels = std::vector<std::pair<std::string, std::string>>;

    static constexpr char MEDIA_TYPE[] = "text/plain; version=0.0.4; charset=utf-8";

    /// Begins a metric, whose samples follow. `type` is "counter", "gauge" or "histogram".
    void begin(const std::string& name, const char* type, const std::string& help);
    /// A sample of the metric. `suffix` is behind its name, as "_sum".
    void add(double value, const Labels& labels = {}, const std::string& suffix = "");
    /// A metric of one sample.
    void addOne(const std::string& name, const char* type, const std::string& help, double value);

    [[nodiscard]] const std::string& text() const noexcept { return text_; }

    /// The shortest text of a number that is read as the same one, whatever the locale.
    static std::string number(double value);

private:
    std::string name_;
    std::string text_;
};

} // namespace keepsafe_service

#endif
