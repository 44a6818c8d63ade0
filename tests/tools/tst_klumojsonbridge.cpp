#include "klumojsoncodec.h"
#include "klumojsonmessage.h"
#include "klumojsonsample.h"
#include "lumotestenv.h"
#include <sys/stat.h> // lumotestenv.h uses chmod

#include <KLumoServices.h>
#include <lumo_types.h>

#include <thrift/TApplicationException.h>
#include <thrift/protocol/TCompactProtocol.h>
#include <thrift/transport/TBufferTransports.h>

#include <QtTest>

using namespace ofx::lumo;
using apache::thrift::protocol::TCompactProtocol;
using apache::thrift::transport::TMemoryBuffer;

namespace {

KLumoJsonValue parseOrFail(const char *text)
{
    std::string error;
    KLumoJsonValue v = KLumoJsonValue::parse(text, &error);
    if (!error.empty())
        qFatal("bad test JSON: %s", error.c_str());
    return v;
}

int recordType(int record)
{
    const int type = KLumoJsonSchemaIndex::recordType(record);
    return KLumoJsonSchemaIndex::recordOfType(type) == record ? type : -1;
}

} // namespace

class TestKLumoJsonBridge : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void jsonText_data();
    void jsonText();
    void jsonRejects_data();
    void jsonRejects();
    void everyRecordRoundTrips();
    void typedRecordFromJson();
    void absentFieldsTakeDefaults();
    void schemaErrorsNameTheField_data();
    void schemaErrorsNameTheField();
    void callsMatchTheGeneratedClient();
    void repliesReadByTheGeneratedClient();
    void unknownWireFieldsAreSkipped();
};

void TestKLumoJsonBridge::jsonText_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QByteArray>("printed");
    QTest::addRow("i64 max") << QByteArray("9223372036854775807")
                             << QByteArray("9223372036854775807");
    QTest::addRow("i64 min") << QByteArray("-9223372036854775808")
                             << QByteArray("-9223372036854775808");
    QTest::addRow("above 2^53") << QByteArray("9007199254740993") << QByteArray("9007199254740993");
    QTest::addRow("double stays double") << QByteArray("2.0") << QByteArray("2.0");
    QTest::addRow("exponent") << QByteArray("1e3") << QByteArray("1000.0");
    QTest::addRow("escapes") << QByteArray(R"("a\"b\\c\n\u0001\/")")
                             << QByteArray(R"("a\"b\\c\n\u0001/")");
    QTest::addRow("surrogate pair")
        << QByteArray(R"("\ud83d\ude00")") << QByteArray("\"\xF0\x9F\x98\x80\"");
    QTest::addRow("key order kept") << QByteArray(R"({ "b" : 1, "a" : [true, null, {}] })")
                                    << QByteArray(R"({"b":1,"a":[true,null,{}]})");
}

void TestKLumoJsonBridge::jsonText()
{
    QFETCH(QByteArray, text);
    QFETCH(QByteArray, printed);
    std::string error;
    const KLumoJsonValue v = KLumoJsonValue::parse(text.toStdString(), &error);
    QVERIFY2(error.empty(), error.c_str());
    QCOMPARE(QByteArray::fromStdString(v.serialize()), printed);
    // What is printed reads back as the same value.
    QCOMPARE(KLumoJsonValue::parse(v.serialize(), nullptr), v);
}

void TestKLumoJsonBridge::jsonRejects_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QString>("message");
    QTest::addRow("trailing text") << QByteArray("{} x") << "unexpected text after the value";
    QTest::addRow("leading zero") << QByteArray("01") << "leading zero";
    QTest::addRow("too big") << QByteArray("9223372036854775808")
                             << "integer out of the 64-bit range";
    QTest::addRow("unterminated") << QByteArray("\"abc") << "unterminated string";
    QTest::addRow("lone surrogate") << QByteArray(R"("\udc00")") << "unpaired surrogate";
    QTest::addRow("missing colon") << QByteArray(R"({"a" 1})") << "expected ':'";
    QTest::addRow("deep nesting") << QByteArray(1000, '[') << "nesting too deep";
    QTest::addRow("empty") << QByteArray("  ") << "unexpected end of text";
}

void TestKLumoJsonBridge::jsonRejects()
{
    QFETCH(QByteArray, text);
    QFETCH(QString, message);
    std::string error;
    const KLumoJsonValue v = KLumoJsonValue::parse(text.toStdString(), &error);
    QVERIFY(v.isNull());
    QVERIFY2(QString::fromStdString(error).startsWith(message), error.c_str());
    QVERIFY(QString::fromStdString(error).contains("at offset"));
}

// Every record: JSON -> typed record -> JSON gives back the same document, and
// the typed record's own bytes decode to it too. Catches any table entry that
// disagrees with the generated code (ids, types, optionality, names).
void TestKLumoJsonBridge::everyRecordRoundTrips()
{
    QCOMPARE(jsonschema::recordCount, 620);
    for (int r = 0; r < jsonschema::recordCount; ++r) {
        const jsonschema::RecordOps *ops = KLumoJsonSchemaIndex::recordOps(r);
        QVERIFY(ops);
        QCOMPARE(ops->record, r);
        const int type = recordType(r);
        QVERIFY2(type >= 0, jsonschema::records[r].name);
        const KLumoJsonValue sample = KLumoJsonSample::value(type, r + 1);

        void *typed = ops->create();
        KLumoJsonCodec::fromJson(*ops, typed, sample);
        const KLumoJsonValue back = KLumoJsonCodec::toJson(*ops, typed);

        auto buf = std::make_shared<TMemoryBuffer>();
        TCompactProtocol proto(buf);
        ops->write(typed, &proto);
        const std::string typedBytes = buf->getBufferAsString();
        ops->destroy(typed);

        QVERIFY2(back == sample,
                 (std::string(jsonschema::records[r].name) + ": " + back.serialize()).c_str());
        // The bridge writes exactly the bytes the generated code writes.
        QCOMPARE(KLumoJsonCodec::encodeRecord(r, sample), typedBytes);
        QVERIFY(KLumoJsonCodec::decodeRecord(r, typedBytes) == sample);
    }
}

void TestKLumoJsonBridge::typedRecordFromJson()
{
    const KLumoJsonValue json =
        parseOrFail(R"({"userId":"u1","fileId":"f\u00e9","removeCompletely":true,
                                               "extraParam":{"k":"v"}})");
    const RemoveArg arg = KLumoJsonCodec::fromJson<RemoveArg>(json);
    QCOMPARE(QString::fromStdString(arg.userId), QStringLiteral("u1"));
    QCOMPARE(QString::fromStdString(arg.fileId), QStringLiteral("f\u00e9"));
    QVERIFY(arg.removeCompletely);
    QVERIFY(!arg.showErrorBubble);
    QCOMPARE(arg.extraParam.at("k"), std::string("v"));

    CloudItem item;
    item.size = (int64_t(1) << 53) + 1;
    item.name = "n";
    const KLumoJsonValue printed = KLumoJsonCodec::toJson(item);
    QCOMPARE(printed.find("size")->toInteger(), (int64_t(1) << 53) + 1);
    QVERIFY(QByteArray::fromStdString(printed.serialize()).contains("\"size\":9007199254740993"));
}

void TestKLumoJsonBridge::absentFieldsTakeDefaults()
{
    const int record = KLumoJsonSchemaIndex::recordIndex("NotifyFileActionArg");
    QVERIFY(record >= 0);
    const KLumoJsonValue v = KLumoJsonCodec::decodeRecord(
        record, KLumoJsonCodec::encodeRecord(record, parseOrFail("{}")));
    QCOMPARE(v.find("action")->toInteger(), int64_t(0));
    QCOMPARE(v.find("fileId")->toString(), std::string());
    QVERIFY(v.find("linkEntries")->isArray());
    // An optional field stays absent unless given.
    QVERIFY(!v.find("entries"));
    QCOMPARE(KLumoJsonCodec::defaultValue(recordType(record)), v);
}

void TestKLumoJsonBridge::schemaErrorsNameTheField_data()
{
    QTest::addColumn<QString>("method");
    QTest::addColumn<QByteArray>("args");
    QTest::addColumn<QString>("message");
    QTest::addRow("unknown nested field")
        << "batchRemove" << QByteArray(R"({"arg":{"param":[{},{},{"bogus":1}]}})")
        << "arg.param[2].bogus: unknown field of fileActionInfo";
    QTest::addRow("string for bool") << "createFolder" << QByteArray(R"({"arg":{"bSilent":"yes"}})")
                                     << "arg.bSilent: expected bool, got string";
    QTest::addRow("integer for bool")
        << "updateUserCacheInfo" << QByteArray(R"({"bOnlyCloudSpace":1})")
        << "bOnlyCloudSpace: expected bool, got integer";
    QTest::addRow("map value type")
        << "createFolder" << QByteArray(R"({"arg":{"extraParam":{"a":1}}})")
        << "arg.extraParam[\"a\"]: expected string, got integer";
    QTest::addRow("record not object") << "createFolder" << QByteArray(R"({"arg":[]})")
                                       << "arg: expected CreateFolderArg (an object), got array";
    QTest::addRow("unknown argument") << "getLoginInfo" << QByteArray(R"({"x":1})")
                                      << "x: unknown field of KLumoServices_getLoginInfo_pargs";
    QTest::addRow("duplicate key")
        << "showBubble" << QByteArray(R"({"text":"a","text":"b"})") << "text: field given twice";
}

void TestKLumoJsonBridge::schemaErrorsNameTheField()
{
    QFETCH(QString, method);
    QFETCH(QByteArray, args);
    QFETCH(QString, message);
    const jsonschema::Method *m =
        KLumoJsonSchemaIndex::method("KLumoServices", method.toStdString());
    QVERIFY(m);
    try {
        KLumoJsonMessage::encodeCall(*m, parseOrFail(args.constData()));
        QFAIL("no error raised");
    } catch (const KLumoJsonError &e) {
        QCOMPARE(QString::fromUtf8(e.what()), message);
    }

    // Integers that do not fit their field are refused rather than truncated.
    const int record = KLumoJsonSchemaIndex::recordIndex("CreateFolderResult");
    try {
        KLumoJsonCodec::encodeRecord(record, parseOrFail(R"({"state":2147483648})"), "result");
        QFAIL("no error raised");
    } catch (const KLumoJsonError &e) {
        QCOMPARE(QString::fromStdString(e.path()), QStringLiteral("result.state"));
    }
}

// The emulator speaks through these helpers; the library speaks through the
// generated client. Both must agree byte for byte.
void TestKLumoJsonBridge::callsMatchTheGeneratedClient()
{
    auto out = std::make_shared<TMemoryBuffer>();
    auto proto = std::make_shared<TCompactProtocol>(out);
    KLumoServicesClient client(proto);
    CreateFolderArg arg;
    arg.userId = "u";
    arg.folderName = "New folder";
    arg.bSilent = true;
    client.send_createFolder(arg);
    const std::string bytes = out->getBufferAsString();

    const jsonschema::Method *m = KLumoJsonSchemaIndex::method("KLumoServices", "createFolder");
    const KLumoJsonValue args =
        parseOrFail(R"({"arg":{"userId":"u","folderName":"New folder","bSilent":true}})");
    QCOMPARE(KLumoJsonMessage::encodeCall(*m, args), bytes);

    const KLumoJsonMessage::Call call = KLumoJsonMessage::decodeCall("KLumoServices", bytes);
    QCOMPARE(call.name, std::string("createFolder"));
    QCOMPARE(call.method, m);
    QCOMPARE(call.args.find("arg")->find("folderName")->toString(), std::string("New folder"));

    const KLumoJsonMessage::Call unknown =
        KLumoJsonMessage::decodeCall("KLumoNotifyServices", bytes);
    QVERIFY(!unknown.method);

    const jsonschema::Method *oneway = KLumoJsonSchemaIndex::method("KLumoServices", "showBubble");
    QVERIFY(oneway->oneway);
    QCOMPARE(
        KLumoJsonMessage::decodeCall("KLumoServices", KLumoJsonMessage::encodeCall(*oneway, {}))
            .type,
        apache::thrift::protocol::T_ONEWAY);
}

void TestKLumoJsonBridge::repliesReadByTheGeneratedClient()
{
    auto in = std::make_shared<TMemoryBuffer>();
    auto proto = std::make_shared<TCompactProtocol>(in);
    KLumoServicesClient client(proto);

    const jsonschema::Method *createFolder =
        KLumoJsonSchemaIndex::method("KLumoServices", "createFolder");
    const std::string reply = KLumoJsonMessage::encodeReply(
        *createFolder, parseOrFail(R"({"state":7,"folderId":"F","ctime":9007199254740993})"), 5);
    in->resetBuffer(reinterpret_cast<uint8_t *>(const_cast<char *>(reply.data())),
                    uint32_t(reply.size()));
    CreateFolderResult result;
    client.recv_createFolder(result);
    QCOMPARE(result.state, 7);
    QCOMPARE(result.folderId, std::string("F"));
    QCOMPARE(result.ctime, int64_t(9007199254740993));

    const KLumoJsonMessage::Reply decoded = KLumoJsonMessage::decodeReply(*createFolder, reply);
    QVERIFY(decoded.hasValue && !decoded.exception);
    QCOMPARE(decoded.value.find("folderId")->toString(), std::string("F"));

    const std::string failure = KLumoJsonMessage::encodeException(
        "createFolder", 5, apache::thrift::TApplicationException::INTERNAL_ERROR, "disk full");
    in->resetBuffer(reinterpret_cast<uint8_t *>(const_cast<char *>(failure.data())),
                    uint32_t(failure.size()));
    try {
        client.recv_createFolder(result);
        QFAIL("no exception");
    } catch (const apache::thrift::TApplicationException &e) {
        QCOMPARE(QString::fromUtf8(e.what()), QStringLiteral("disk full"));
    }
    QVERIFY(KLumoJsonMessage::decodeReply(*createFolder, failure).exception);

    // A void method replies with an empty result record, which the client accepts.
    const jsonschema::Method *clear =
        KLumoJsonSchemaIndex::method("KLumoServices", "clearUserCache");
    const std::string empty = KLumoJsonMessage::encodeReply(*clear, {});
    in->resetBuffer(reinterpret_cast<uint8_t *>(const_cast<char *>(empty.data())),
                    uint32_t(empty.size()));
    client.recv_clearUserCache();
}

void TestKLumoJsonBridge::unknownWireFieldsAreSkipped()
{
    // A newer peer may send fields this side does not know: a record written
    // as a superset (CloudItemId fields + extras under other ids) still reads.
    auto buf = std::make_shared<TMemoryBuffer>();
    TCompactProtocol proto(buf);
    proto.writeStructBegin("X");
    proto.writeFieldBegin("id", apache::thrift::protocol::T_STRING, 2);
    proto.writeString("abc");
    proto.writeFieldEnd();
    proto.writeFieldBegin("future", apache::thrift::protocol::T_I64, 9);
    proto.writeI64(5);
    proto.writeFieldEnd();
    proto.writeFieldBegin("groupId", apache::thrift::protocol::T_I32, 1); // wrong type: skipped
    proto.writeI32(1);
    proto.writeFieldEnd();
    proto.writeFieldStop();
    proto.writeStructEnd();
    const KLumoJsonValue v = KLumoJsonCodec::decodeRecord(
        KLumoJsonSchemaIndex::recordIndex("CloudItemId"), buf->getBufferAsString());
    QCOMPARE(QByteArray::fromStdString(v.serialize()),
             QByteArray(R"({"groupId":"","id":"abc","extraParam":{}})"));
}

LUMO_TEST_MAIN(TestKLumoJsonBridge)
#include "tst_klumojsonbridge.moc"
