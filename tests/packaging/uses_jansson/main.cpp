#include <jansson.h>

#include <keepsafe/rbac/api/Rbac2Json.h>

int main()
{
    const boost::shared_ptr<json_t> document = Tessara::Keepsafe::Rbac::json_loads_shared(R"({"number":7})");
    return json_integer_value(json_object_get(document.get(), "number")) == 7 ? 0 : 1;
}
