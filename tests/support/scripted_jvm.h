#pragma once

// A JVM that a test scripts: a JNI function table over plain objects. It logs every call, can be told
// to fail one, and fails the test for wrong use: a reference that is deleted, unknown or null, an object
// of another class than the field or method ID's, a call with an exception pending or after a method
// call without looking for an exception, string characters or references that are not given back.
//
//     CallLog log;
//     Jvm jvm(log);
//     jvm.run(Java_com_brel_sorn_velk_VELK_init0, jvm.object("com/brel/sorn/velk/VELK"));
//     jobject row = jvm.object("com/brel/sorn/velk/Row");
//     jvm.set_object(row, "fields", jvm.array({jvm.object("com/brel/sorn/velk/Field")}));
//     jvm.fail({.function = "GetObjectArrayElement"});
//     EXPECT_EQ(jvm.run(Java_com_brel_sorn_velk_Row_toC, row), 0);
//     EXPECT_EQ(jvm.take_exception()->class_name, "java/lang/OutOfMemoryError");
//
// In the log an object is named after its class ("Row"), a string, list or array after the first field
// it was stored in ("rows"), a class as "class Row". Values of fields are not logged: look at the objects.

#include "support/call_log.h"

#include <cstdint>
#include <jni.h>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace velk::test {

// A Java exception as a test sees it.
struct Thrown {
    std::string class_name;
    std::optional<std::string> message; // the bytes that the native gave; nothing: null
    jint code = 0;                      // of a VELKException
    bool operator==(const Thrown&) const = default;
};
void PrintTo(const Thrown& thrown, std::ostream* out);

Thrown velk_exception(std::optional<std::string> message, jint code);

// A call that is to fail instead of doing its work.
struct Failure {
    std::string function; // of JNI: "CallObjectMethod" stands for all its forms
    int nth = 1;          // counted from now on
    const char* exception = "java/lang/OutOfMemoryError"; // left pending; null: none
    jint result = 0;                                      // what the call gives; always null for a reference
};

struct JvmState;

class Jvm {
public:
    // Knows the classes that the natives use, with all their members.
    explicit Jvm(CallLog& log);
    // Fails the test for an exception that was not taken, a failure that did not come, a global reference
    // that was not accepted.
    ~Jvm();
    Jvm(const Jvm&) = delete;
    Jvm& operator=(const Jvm&) = delete;

    JNIEnv* env();

    // Calls a native, or any function that takes the environment first, in a frame of its own: when it
    // returns, its local references end and must be gone but for those named in may_leave.
    template <class Native, class... Arguments> auto run(Native native, Arguments... arguments)
    {
        if constexpr (std::is_void_v<decltype(native(env(), arguments...))>) {
            native(env(), arguments...);
            end_frame();
        } else {
            const auto result = native(env(), arguments...);
            end_frame();
            return result;
        }
    }

    // Names of local references that may be left when a native returns, for the rest of the test. A thrown
    // VELKException may always be.
    std::set<std::string> may_leave;
    // Names of those that the latest native left, in the order they were made.
    const std::vector<std::string>& left() const;

    // JNI functions that may be called with an exception pending, for the rest of the test.
    std::set<std::string> may_run_pending;

    // What Java holds. These references are the test's own: natives must not delete them. Fields are 0,
    // false or null at first.
    jobject object(const char* class_name);
    jstring string(std::u16string_view text);
    jobject list(const std::vector<jobject>& elements = {}); // an ArrayList
    jobjectArray array(const std::vector<jobject>& elements = {});
    void name(jobject object, const char* name); // in the log

    void set_long(jobject object, const char* field, jlong value);
    void set_int(jobject object, const char* field, jint value);
    void set_boolean(jobject object, const char* field, bool value);
    void set_object(jobject object, const char* field, jobject value);
    jlong get_long(jobject object, const char* field);
    jint get_int(jobject object, const char* field);
    bool get_boolean(jobject object, const char* field);
    jobject get_object(jobject object, const char* field);

    // The record whose address stands in the object's field `pointer`.
    template <class Record> Record* record(jobject object)
    {
        return reinterpret_cast<Record*>(static_cast<std::intptr_t>(get_long(object, "pointer")));
    }
    void set_record(jobject object, const void* record)
    {
        set_long(object, "pointer", static_cast<jlong>(reinterpret_cast<std::intptr_t>(record)));
    }

    std::u16string text(jobject string);
    std::vector<jobject> elements(jobject container); // of a list or an array
    std::string class_of(jobject object);             // "com/brel/sorn/velk/Row"; "null" of null

    // Takes a class, or a member of one, out of what can be looked up.
    void remove_class(const char* class_name);
    void remove_member(const char* class_name, const char* member);

    void fail(Failure failure);

    // The pending exception, which is pending no more; nothing where there is none.
    std::optional<Thrown> take_exception();

    // Names of the global references that are held, in the order they were made.
    std::vector<std::string> globals() const;
    // Those held now may be held at the end.
    void accept_globals();

private:
    void end_frame();
    std::unique_ptr<JvmState> state;
};

} // namespace velk::test
