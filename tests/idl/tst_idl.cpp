#include <sys/stat.h> // lumotestenv.h uses chmod

#include "lumotestenv.h"

#include "KLumoNotifyServices.h"
#include "KLumoServices.h"
#include "lumo_types.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QtTest>

#include <thrift/protocol/TCompactProtocol.h>
#include <thrift/transport/TBufferTransports.h>

using namespace ofx::lumo;
using apache::thrift::protocol::TCompactProtocol;
using apache::thrift::transport::TMemoryBuffer;

namespace {

template<class T> std::string encode(const T &record)
{
    auto buf = std::make_shared<TMemoryBuffer>();
    TCompactProtocol proto(buf);
    record.write(&proto);
    return buf->getBufferAsString();
}

template<class T> T decode(const std::string &bytes)
{
    auto buf = std::make_shared<TMemoryBuffer>(
        reinterpret_cast<uint8_t *>(const_cast<char *>(bytes.data())), uint32_t(bytes.size()));
    TCompactProtocol proto(buf);
    T record;
    record.read(&proto);
    return record;
}

CloudItem item(const std::string &id, int n)
{
    CloudItem c;
    c.__set_id(id);
    c.__set_size(int64_t(1) << (30 + n));
    c.__set_name("name \xc3\xa9 " + id);
    c.__set_averageSpeed(1.5 * n);
    c.userAcl.__set_bRename(n % 2 == 0);
    c.__set_category({"doc", std::string(1, '\0')});
    c.__set_mtime(-n);
    return c;
}

// Decoding and re-encoding gives back the same bytes, and the same record.
template<class T> void checkRoundTrip(const T &record)
{
    const std::string bytes = encode(record);
    const T back = decode<T>(bytes);
    QVERIFY(back == record);
    QCOMPARE(encode(back), bytes);
}

} // namespace

class TestIdl : public QObject
{
    Q_OBJECT

    QJsonObject m_idl;

    QJsonArray functions(const QString &service) const
    {
        for (const QJsonValue &s : m_idl.value(QStringLiteral("services")).toArray())
            if (s.toObject().value(QStringLiteral("name")).toString() == service)
                return s.toObject().value(QStringLiteral("functions")).toArray();
        return {};
    }

private Q_SLOTS:
    void initTestCase()
    {
        QFile f(QStringLiteral(LUMO_IDL_JSON));
        QVERIFY2(f.open(QIODevice::ReadOnly), qPrintable(f.fileName()));
        m_idl = QJsonDocument::fromJson(f.readAll()).object();
        QVERIFY(!m_idl.isEmpty());
    }

    // The service's interface as deployed: a method that changed between
    // oneway and two-way, or a field that became optional, breaks the wire.
    void shape()
    {
        QCOMPARE(m_idl.value(QStringLiteral("structs")).toArray().size(), 620);
        const QJsonArray requests = functions(QStringLiteral("KLumoServices"));
        QCOMPARE(requests.size(), 250);
        int oneway = 0, voidTwoWay = 0;
        for (const QJsonValue &v : requests) {
            const QJsonObject fn = v.toObject();
            if (fn.value(QStringLiteral("oneway")).toBool())
                ++oneway;
            else if (fn.value(QStringLiteral("returnTypeId")).toString() == QLatin1String("void"))
                ++voidTwoWay;
        }
        QCOMPARE(oneway, 9);
        QCOMPARE(voidTwoWay, 3);
        const QJsonArray notes = functions(QStringLiteral("KLumoNotifyServices"));
        QCOMPARE(notes.size(), 45);
        for (const QJsonValue &v : notes)
            QVERIFY(v.toObject().value(QStringLiteral("oneway")).toBool());
        QCOMPARE(requests.first().toObject().value(QStringLiteral("name")).toString(),
                 QStringLiteral("asynCall"));

        QStringList optional;
        for (const QJsonValue &s : m_idl.value(QStringLiteral("structs")).toArray())
            for (const QJsonValue &f : s.toObject().value(QStringLiteral("fields")).toArray())
                if (f.toObject().value(QStringLiteral("required")).toString()
                    == QLatin1String("optional"))
                    optional << s.toObject().value(QStringLiteral("name")).toString()
                            + QLatin1Char('.')
                            + f.toObject().value(QStringLiteral("name")).toString();
        optional.sort();
        QCOMPARE(optional,
                 (QStringList {"NotifyFileActionArg.entries", "NotifyFileCreationArg.itemList",
                               "NotifyFileCreationArg.sharedByOthersItemList",
                               "NotifyShowSettingsArg.targetTab"}));
    }

    void compactRoundTrip()
    {
        NotifyFileCreationArg creation;
        creation.__set_itemInfo(item("root", 1));
        creation.__set_itemList({item("a", 2), item("b", 3)});
        creation.linkFolderList.push_back(item("link", 4));
        creation.extraParam = {{"k1", "v1"}, {"k2", ""}, {"", "empty key"}};
        checkRoundTrip(creation);

        // An optional list left unset stays unset, and is not on the wire.
        NotifyFileCreationArg sparse;
        sparse.__set_itemInfo(item("only", 5));
        const NotifyFileCreationArg sparseBack = decode<NotifyFileCreationArg>(encode(sparse));
        QVERIFY(!sparseBack.__isset.itemList);
        QVERIFY(!sparseBack.__isset.sharedByOthersItemList);
        QVERIFY(encode(sparse).size() < encode(creation).size());
        checkRoundTrip(sparse);

        // The record named in lower case, and the one without fields.
        BatchRemoveArg remove;
        fileActionInfo action;
        action.__set_fileId("f");
        action.__set_extraParam({{"reason", "test"}});
        remove.__set_param({action, action});
        checkRoundTrip(remove);
        QCOMPARE(encode(GetContentSearchStatusArg()).size(), size_t(1)); // just the stop byte
    }
};

LUMO_TEST_MAIN(TestIdl)
#include "tst_idl.moc"
