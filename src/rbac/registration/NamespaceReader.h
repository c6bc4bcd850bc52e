#ifndef KEEPSAFE_RBAC_REGISTRATION_NAMESPACEREADER_H
#define KEEPSAFE_RBAC_REGISTRATION_NAMESPACEREADER_H

#include <cstring>
#include <istream>
#include <streambuf>
#include <typeinfo>

#include <boost/lexical_cast.hpp>

#include <keepsafe/rbac/namespace/ObjectNamespace.h>

namespace Tessara::Keepsafe::Rbac {

/// Turns many texts into namespaces as `boost::lexical_cast` does, with one stream for all of them: creating
/// a stream takes as long as reading a short name from it.
class NamespaceReader {
public:
    NamespaceReader() { stream_.unsetf(std::ios_base::skipws); }

    /// The namespace, or `boost::bad_lexical_cast`.
    ObjectNamespace read(const char* text)
    {
        text_.show(text);
        stream_.clear();
        ObjectNamespace result;
        if (!(stream_ >> result)) {
            throw boost::bad_lexical_cast(typeid(const char*), typeid(ObjectNamespace));
        }
        return result;
    }

private:
    class Text : public std::streambuf {
    public:
        void show(const char* text)
        {
            char* const begin = const_cast<char*>(text); // only read: there is no pbackfail
            setg(begin, begin, begin + std::strlen(text));
        }
    };

    Text text_;
    std::istream stream_{&text_};
};

} // namespace Tessara::Keepsafe::Rbac

#endif
