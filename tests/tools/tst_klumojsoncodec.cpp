#include "klumojsoncodec.h"
#include "klumojsonmessage.h"
#include "klumojsonsample.h"
#include "lumotestenv.h"

#include <thrift/protocol/TCompactProtocol.h>
#include <thrift/transport/TBufferTransports.h>

using namespace ofx::lumo;
using Schema = KLumoJsonSchemaIndex;

namespace {

QString text(const KLumoJsonValue &v)
{
    return QString::fromStdString(v.serialize());
}

// What the generated code writes for a typed record.
std::string typedBytes(const jsonschema::RecordOps &ops, const void *record)
{
    auto buf = std::make_shared<apache::thrift::transport::TMemoryBuffer>();
    apache::thrift::protocol::TCompactProtocol proto(buf);
    ops.write(record, &proto);
    return buf->getBufferAsString();
}

} // namespace

class TestKLumoJsonCodec : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void jsonText_data();
    void jsonText();
    void everyRecordMatchesTheGeneratedCode_data();
    void everyRecordMatchesTheGeneratedCode();
    void errorsNameTheField_data();
    void errorsNameTheField();
};

void TestKLumoJsonCodec::jsonText_data()
{
    QTest::addColumn<QByteArray>("input");
    QTest::addColumn<QString>("expected"); // the value printed back, or the error's start
    QTest::addRow("exact 64-bit") << QByteArray("[-9223372036854775808, 9007199254740993, 2.0]")
                                  << "[-9223372036854775808,9007199254740993,2.0]";
    QTest::addRow("escapes") << QByteArray(R"({"b":"\"\\\n\u0001\/\ud83d\ude00", "a":1})")
                             << QString::fromUtf8("{\"b\":\"\\\"\\\\\\n\\u0001/\xF0\x9F\x98\x80\","
                                                  "\"a\":1}");
    QTest::addRow("too big") << QByteArray("9223372036854775808")
                             << "integer out of the 64-bit range at offset 0";
}

void TestKLumoJsonCodec::jsonText()
{
    QFETCH(QByteArray, input);
    QFETCH(QString, expected);
    std::string error;
    const KLumoJsonValue v = KLumoJsonValue::parse(input.toStdString(), &error);
    QCOMPARE(error.empty() ? text(v) : QString::fromStdString(error), expected);
    QVERIFY(KLumoJsonValue::parse(v.serialize(), nullptr) == v); // what is printed reads back
}

void TestKLumoJsonCodec::everyRecordMatchesTheGeneratedCode_data()
{
    QTest::addColumn<int>("record");
    for (int r = 0; r < jsonschema::recordCount; ++r)
        QTest::addRow("%s", jsonschema::records[r].name) << r;
}

// A sample with every field set (i64 above 2^53) goes JSON -> typed record ->
// JSON unchanged, and the codec writes the generated code's bytes; so does
// the empty object, which gives the record's defaults.
void TestKLumoJsonCodec::everyRecordMatchesTheGeneratedCode()
{
    QFETCH(int, record);
    const jsonschema::RecordOps *ops = Schema::recordOps(record);
    const KLumoJsonValue sample = KLumoJsonSample::value(Schema::recordType(record), record + 1);
    std::unique_ptr<void, void (*)(void *)> typed(ops->create(), ops->destroy);
    std::unique_ptr<void, void (*)(void *)> blank(ops->create(), ops->destroy);
    KLumoJsonCodec::fromJson(*ops, typed.get(), sample);
    QCOMPARE(text(KLumoJsonCodec::toJson(*ops, typed.get())), text(sample));
    const std::string bytes = typedBytes(*ops, typed.get());
    QVERIFY(KLumoJsonCodec::encodeRecord(record, sample) == bytes);
    // Read as a record that knows none of them, every field is skipped.
    auto in = std::make_shared<apache::thrift::transport::TMemoryBuffer>();
    in->resetBuffer(reinterpret_cast<uint8_t *>(const_cast<char *>(bytes.data())),
                    uint32_t(bytes.size()));
    apache::thrift::protocol::TCompactProtocol proto(in);
    QCOMPARE(text(KLumoJsonCodec::readFields(&proto, 0, 0)), QStringLiteral("{}"));
    QCOMPARE(in->available_read(), 0u);

    const std::string defaults = typedBytes(*ops, blank.get());
    QVERIFY(KLumoJsonCodec::encodeRecord(record, KLumoJsonValue::object()) == defaults);
    QCOMPARE(text(KLumoJsonCodec::decodeRecord(record, defaults)),
             text(KLumoJsonCodec::defaultValue(Schema::recordType(record))));
}

void TestKLumoJsonCodec::errorsNameTheField_data()
{
    QTest::addColumn<QString>("method");
    QTest::addColumn<QByteArray>("args");
    QTest::addColumn<QString>("message");
    QTest::addRow("unknown nested field")
        << "batchRemove" << QByteArray(R"({"arg":{"param":[{},{},{"bogus":1}]}})")
        << "arg.param[2].bogus: unknown field of fileActionInfo";
    QTest::addRow("map value type")
        << "createFolder" << QByteArray(R"({"arg":{"extraParam":{"a":1}}})")
        << "arg.extraParam[\"a\"]: expected string, got integer";
    QTest::addRow("duplicate key")
        << "showBubble" << QByteArray(R"({"text":"a","text":"b"})") << "text: field given twice";
    QTest::addRow("i32 overflow") << "getRecentRoamingFiles"
                                  << QByteArray(R"({"arg":{"count":2147483648}})")
                                  << "arg.count: 2147483648 is out of range for i32";
}

void TestKLumoJsonCodec::errorsNameTheField()
{
    QFETCH(QString, method);
    QFETCH(QByteArray, args);
    QFETCH(QString, message);
    const jsonschema::Method *m = Schema::method("KLumoServices", method.toStdString());
    QVERIFY(m);
    try {
        KLumoJsonMessage::encodeCall(*m, KLumoJsonValue::parse(args.toStdString(), nullptr));
        QFAIL("no error raised");
    } catch (const KLumoJsonError &e) {
        QCOMPARE(QString::fromUtf8(e.what()), message);
    }
}

LUMO_TEST_MAIN(TestKLumoJsonCodec)
#include "tst_klumojsoncodec.moc"
