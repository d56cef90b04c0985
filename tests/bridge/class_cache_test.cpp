// VELK.init0 and the class cache that it fills.

#include "bridge/bridge_test.h"

#include <string>
#include <vector>

namespace velk::test {

namespace {

struct Lookup {
    std::string clazz;
    std::string member;    // empty: the class itself
    std::string signature; // of a member
    const void* const* slot;
};

template <class Id> const void* const* slot_of(const Id& entry)
{
    return reinterpret_cast<const void* const*>(&entry);
}

const char* const list = "Ljava/util/ArrayList;";
const char* const text = "Ljava/lang/String;";
const char* const any = "Ljava/lang/Object;";

// Everything that is looked up, in the order in which it is.
const std::vector<Lookup>& lookups()
{
    static const std::vector<Lookup> all = {
        {"java/lang/String", "", "", slot_of(cache.String.clazz)},
        {"java/lang/Integer", "", "", slot_of(cache.Integer.clazz)},
        {"java/util/ArrayList", "", "", slot_of(cache.ArrayList.clazz)},
        {"java/util/ArrayList", "<init>", "()V", slot_of(cache.ArrayList.init)},
        {"java/util/ArrayList", "add", "(Ljava/lang/Object;)Z", slot_of(cache.ArrayList.add)},
        {"java/util/ArrayList", "get", "(I)Ljava/lang/Object;", slot_of(cache.ArrayList.get)},
        {"java/util/ArrayList", "size", "()I", slot_of(cache.ArrayList.size)},
        {exception_class, "", "", slot_of(cache.VELKException.clazz)},
        {exception_class, "<init>", "(Ljava/lang/String;I)V", slot_of(cache.VELKException.init)},
        {velk_class, "", "", slot_of(cache.VELK.clazz)},
        {velk_class, "debug", "Z", slot_of(cache.VELK.debug)},
        {provider_class, "", "", slot_of(cache.NativeProvider.clazz)},
        {framework_definition_class, "", "", slot_of(cache.FrameworkDefinition.clazz)},
        {framework_definition_class, "pointer", "J", slot_of(cache.FrameworkDefinition.pointer)},
        {framework_definition_class, "initializationOperands", list,
         slot_of(cache.FrameworkDefinition.initializationOperands)},
        {service_definition_class, "", "", slot_of(cache.ServiceDefinition.clazz)},
        {service_definition_class, "pointer", "J", slot_of(cache.ServiceDefinition.pointer)},
        {service_definition_class, "copyToDestination", "Z",
         slot_of(cache.ServiceDefinition.copyToDestination)},
        {service_definition_class, "initializationOperands", list,
         slot_of(cache.ServiceDefinition.initializationOperands)},
        {service_definition_class, "fieldDefinitions", list,
         slot_of(cache.ServiceDefinition.fieldDefinitions)},
        {service_definition_class, "serviceId", text, slot_of(cache.ServiceDefinition.serviceId)},
        {operand_class, "", "", slot_of(cache.InitializationOperand.clazz)},
        {operand_class, "pointer", "J", slot_of(cache.InitializationOperand.pointer)},
        {operand_class, "parameterId", "I", slot_of(cache.InitializationOperand.parameterId)},
        {operand_class, "parameterName", text, slot_of(cache.InitializationOperand.parameterName)},
        {operand_class, "iValue", "I", slot_of(cache.InitializationOperand.iValue)},
        {operand_class, "sValue", text, slot_of(cache.InitializationOperand.sValue)},
        {operand_class, "<init>", "()V", slot_of(cache.InitializationOperand.init)},
        {field_definition_class, "", "", slot_of(cache.FieldDefinition.clazz)},
        {field_definition_class, "pointer", "J", slot_of(cache.FieldDefinition.pointer)},
        {field_definition_class, "id", "I", slot_of(cache.FieldDefinition.id)},
        {field_definition_class, "length", "I", slot_of(cache.FieldDefinition.length)},
        {field_definition_class, "precision", "I", slot_of(cache.FieldDefinition.precision)},
        {field_definition_class, "scale", "I", slot_of(cache.FieldDefinition.scale)},
        {field_definition_class, "columnName", text, slot_of(cache.FieldDefinition.columnName)},
        {field_definition_class, "<init>", "()V", slot_of(cache.FieldDefinition.init)},
        {row_set_class, "", "", slot_of(cache.RowSet.clazz)},
        {row_set_class, "pointer", "J", slot_of(cache.RowSet.pointer)},
        {row_set_class, "rows", "[Lcom/brel/sorn/velk/Row;", slot_of(cache.RowSet.rows)},
        {row_set_class, "rowSetHasInfo", "Z", slot_of(cache.RowSet.rowSetHasInfo)},
        {row_class, "", "", slot_of(cache.Row.clazz)},
        {row_class, "pointer", "J", slot_of(cache.Row.pointer)},
        {row_class, "hasError", "Z", slot_of(cache.Row.hasError)},
        {row_class, "fields", "[Lcom/brel/sorn/velk/Field;", slot_of(cache.Row.fields)},
        {field_class, "", "", slot_of(cache.Field.clazz)},
        {field_class, "pointer", "J", slot_of(cache.Field.pointer)},
        {field_class, "id", "I", slot_of(cache.Field.id)},
        {field_class, "sourceSize", "I", slot_of(cache.Field.sourceSize)},
        {field_class, "source", any, slot_of(cache.Field.source)},
        {field_class, "destinationSize", "I", slot_of(cache.Field.destinationSize)},
        {field_class, "destination", any, slot_of(cache.Field.destination)},
        {field_class, "errorCode", "I", slot_of(cache.Field.errorCode)},
        {field_class, "errorMessage", text, slot_of(cache.Field.errorMessage)},
    };
    return all;
}

std::string short_name(const std::string& class_name)
{
    return class_name.substr(class_name.rfind('/') + 1);
}

bool is_class(const Lookup& lookup)
{
    return lookup.member.empty();
}

std::string function_of(const Lookup& lookup)
{
    if (is_class(lookup)) return "FindClass";
    return lookup.signature.front() == '(' ? "GetMethodID" : "GetFieldID";
}

CallLog calls_of(const Lookup& lookup)
{
    if (!is_class(lookup))
        return {function_of(lookup) + " " + lookup.clazz + "." + lookup.member + " " + lookup.signature};
    const std::string clazz = "class " + short_name(lookup.clazz);
    return {"FindClass " + lookup.clazz, "NewGlobalRef " + clazz, "DeleteLocalRef " + clazz};
}

// All calls before the lookup.
CallLog calls_before(std::size_t index)
{
    CallLog calls;
    for (std::size_t i = 0; i < index; ++i)
        for (const std::string& call : calls_of(lookups()[i])) calls.push_back(call);
    return calls;
}

class ClassCacheTest : public ::testing::Test {
protected:
    ClassCacheTest() { unload(); }
    ~ClassCacheTest() override { jvm.accept_globals(); }

    void init() { jvm.run(Java_com_brel_sorn_velk_VELK_init0, self); }

    CallLog log;
    Jvm jvm{log};
    Engine engine{log};
    jobject self = jvm.object(velk_class);
};

std::vector<std::string> cached_classes()
{
    std::vector<std::string> names;
    for (const Lookup& lookup : lookups())
        if (is_class(lookup)) names.push_back("class " + short_name(lookup.clazz));
    return names;
}

TEST_F(ClassCacheTest, HoldsThirteenClassesThirtyThreeFieldsAndSevenMethods)
{
    int classes = 0, fields = 0, methods = 0;
    for (const Lookup& lookup : lookups()) {
        const std::string function = function_of(lookup);
        ++(function == "FindClass" ? classes : function == "GetFieldID" ? fields : methods);
    }
    EXPECT_EQ(classes, 13);
    EXPECT_EQ(fields, 33);
    EXPECT_EQ(methods, 7);
}

// Taken before any test runs.
const ClassCache cache_at_load = cache;
const int flags_at_load = debug | wide_conversion;

TEST_F(ClassCacheTest, CacheAndFlagsAreEmptyAtLoad)
{
    EXPECT_EQ(std::memcmp(&cache_at_load, &cache, sizeof cache), 0); // as the fixture empties it
    EXPECT_EQ(flags_at_load, 0);
}

TEST_F(ClassCacheTest, Init0LooksEverythingUpInOrderAndReadsDebugLast)
{
    init();
    EXPECT_EQ(log, joined({calls_before(lookups().size()), {"GetBooleanField VELK.debug"}}));
}

TEST_F(ClassCacheTest, Init0FillsEveryEntryWithAnIdOrAReferenceOfItsOwn)
{
    init();
    std::set<const void*> seen;
    for (const Lookup& lookup : lookups()) {
        EXPECT_NE(*lookup.slot, nullptr) << lookup.clazz << " " << lookup.member;
        EXPECT_TRUE(seen.insert(*lookup.slot).second) << lookup.clazz << " " << lookup.member;
    }
    EXPECT_EQ(jvm.globals(), cached_classes());
}

TEST_F(ClassCacheTest, EveryMemberEntryIsTheIdOfItsOwnMember)
{
    init();
    jvm.may_leave.insert({"class String", "class Integer"});
    for (const std::string& name : cached_classes()) jvm.may_leave.insert(name);
    for (const Lookup& lookup : lookups()) {
        jvm.run([&](JNIEnv* env) {
            const jclass clazz = env->FindClass(lookup.clazz.c_str());
            const char* member = lookup.member.c_str();
            const char* signature = lookup.signature.c_str();
            const void* expected = function_of(lookup) == "GetFieldID"
                                       ? static_cast<void*>(env->GetFieldID(clazz, member, signature))
                                   : function_of(lookup) == "GetMethodID"
                                       ? static_cast<void*>(env->GetMethodID(clazz, member, signature))
                                       : *lookup.slot;
            EXPECT_EQ(*lookup.slot, expected) << lookup.clazz << " " << lookup.member;
        });
    }
}

TEST_F(ClassCacheTest, Init0WritesNoTraceRecord)
{
    engine.trace.mask = trace_all;
    init();
    EXPECT_TRUE(engine.records.empty());
}

TEST_F(ClassCacheTest, Init0KeepsTheValueOfDebug)
{
    jvm.set_boolean(self, "debug", true);
    init();
    EXPECT_EQ(debug, 1);
    jvm.set_boolean(self, "debug", false);
    init();
    EXPECT_EQ(debug, 0);
}

TEST_F(ClassCacheTest, TheValueOfDebugChangesNothingInWhatANativeDoes)
{
    jvm.set_boolean(self, "debug", true);
    init();
    engine.trace.mask = trace_all;
    log.clear();
    jvm.run(Java_com_brel_sorn_velk_internal_FrameworkDefinition_toJava,
            jvm.object(framework_definition_class));
    const CallLog with_debug = take(log);
    debug = 0;
    engine.trace.mask = trace_all;
    jvm.run(Java_com_brel_sorn_velk_internal_FrameworkDefinition_toJava,
            jvm.object(framework_definition_class));
    EXPECT_EQ(joined({{"Provider_TraceRegister C0809"}, log}), with_debug);
}

TEST_F(ClassCacheTest, Init0LeavesTheWideConversionFlagClear)
{
    init();
    EXPECT_EQ(wide_conversion, 0);
}

TEST_F(ClassCacheTest, ASecondInit0OverwritesEveryEntryAndReleasesNothing)
{
    init();
    const ClassCache first = cache;
    log.clear();
    init();
    EXPECT_EQ(log, joined({calls_before(lookups().size()), {"GetBooleanField VELK.debug"}}));
    EXPECT_EQ(jvm.globals().size(), 26U);
    EXPECT_NE(cache.String.clazz, first.String.clazz);
    EXPECT_NE(cache.Field.clazz, first.Field.clazz);
}

// A class that the failed one did not reach was deleted before.
TEST_F(ClassCacheTest, ADestroyBehindAFailedSecondInit0DeletesNoReferenceTwice)
{
    init();
    jvm.run(Java_com_brel_sorn_velk_VELK_destroy0, self);
    jvm.remove_class(exception_class);
    init();
    jvm.take_exception();
    log.clear();
    jvm.run(Java_com_brel_sorn_velk_VELK_destroy0, self);
    EXPECT_EQ(without_trace(log), (CallLog{"DeleteGlobalRef class ArrayList", "DeleteGlobalRef class Integer",
                                           "DeleteGlobalRef class String"}));
}

TEST_F(ClassCacheTest, AMissingMemberThatNoNativeUsesIsAStartUpFailureToo)
{
    jvm.remove_member(row_set_class, "rowSetHasInfo");
    init();
    EXPECT_EQ(jvm.take_exception(), (Thrown{"java/lang/NoSuchFieldError", "rowSetHasInfo", 0}));
}

TEST_F(ClassCacheTest, AMissingDestinationIsAStartUpFailureToo)
{
    jvm.remove_member(field_class, "destination");
    init();
    EXPECT_EQ(jvm.take_exception(), (Thrown{"java/lang/NoSuchFieldError", "destination", 0}));
}

// One test per lookup: it fails, and init0 must stop there.
class FailingLookupTest : public ClassCacheTest, public ::testing::WithParamInterface<std::size_t> {
protected:
    const Lookup& lookup() const { return lookups()[GetParam()]; }

    void remove()
    {
        if (is_class(lookup()))
            jvm.remove_class(lookup().clazz.c_str());
        else
            jvm.remove_member(lookup().clazz.c_str(), lookup().member.c_str());
    }

    Thrown expected_exception() const
    {
        if (is_class(lookup())) return {"java/lang/NoClassDefFoundError", lookup().clazz, 0};
        const bool is_field = function_of(lookup()) == "GetFieldID";
        return {is_field ? "java/lang/NoSuchFieldError" : "java/lang/NoSuchMethodError", lookup().member, 0};
    }
};

TEST_P(FailingLookupTest, Init0StopsThereWithTheJvmsOwnException)
{
    remove();
    init();
    EXPECT_EQ(log, joined({calls_before(GetParam()), {calls_of(lookup()).front()}}));
    EXPECT_EQ(jvm.take_exception(), expected_exception());
}

TEST_P(FailingLookupTest, EveryFieldAndMethodIdIsForgotten)
{
    init();
    remove();
    init();
    jvm.take_exception();
    for (const Lookup& each : lookups()) EXPECT_TRUE(is_class(each) || *each.slot == nullptr) << each.member;
    EXPECT_TRUE(cache.failed);
}

TEST_P(FailingLookupTest, NativesTakeTheCacheForUnfilled)
{
    remove();
    init();
    jvm.take_exception();
    log.clear();
    EXPECT_EQ(jvm.run(Java_com_brel_sorn_velk_RowSet_toC, jvm.object(row_set_class)), 0);
    EXPECT_EQ(without_trace(log), CallLog{});
}

INSTANTIATE_TEST_SUITE_P(EachLookup, FailingLookupTest, ::testing::Range(std::size_t{0}, lookups().size()),
                         [](const ::testing::TestParamInfo<std::size_t>& info) {
                             const Lookup& lookup = lookups()[info.param];
                             const std::string member =
                                 lookup.member == "<init>" ? "constructor" : lookup.member;
                             return short_name(lookup.clazz) + (member.empty() ? "" : "_" + member);
                         });

TEST_F(ClassCacheTest, Init0StopsWhereAGlobalReferenceCannotBeMade)
{
    jvm.fail({.function = "NewGlobalRef", .nth = 2, .exception = nullptr});
    jvm.may_leave = {"class OutOfMemoryError"};
    init();
    EXPECT_EQ(log, joined({calls_before(1),
                           calls_of(lookups()[1]),
                           {"ExceptionCheck", "FindClass java/lang/OutOfMemoryError",
                            "ThrowNew class OutOfMemoryError"}}));
    EXPECT_EQ(jvm.take_exception(),
              (Thrown{"java/lang/OutOfMemoryError", "VELK.init0: no global reference", 0}));
}

TEST_F(ClassCacheTest, Init0ThrowsNothingOverTheJvmsOwnExceptionForAGlobalReference)
{
    jvm.fail({.function = "NewGlobalRef", .nth = 2});
    init();
    EXPECT_EQ(log, joined({calls_before(1), calls_of(lookups()[1]), {"ExceptionCheck"}}));
    EXPECT_EQ(jvm.take_exception(),
              (Thrown{"java/lang/OutOfMemoryError", "NewGlobalRef was told to fail", 0}));
}

} // namespace
} // namespace velk::test
