#ifndef QOR_BENCH_XML_DOCUMENTS_H
#define QOR_BENCH_XML_DOCUMENTS_H

#include <string>

// The documents of the XML benchmarks, for all parsers. Each has some hundred kilobytes.

namespace bench {

// A configuration file: settings in attributes.
inline std::string configXml() {
    std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<config>\n";
    for (int i = 0; i < 1500; ++i) {
        const std::string number = std::to_string(i * 37);
        text += "    <server id=\"" + number + "\" name=\"host" + number + "\" address=\"10.0.0." +
                std::to_string(i % 256) +
                "\" port=\"8080\" enabled=\"true\" timeout=\"30\">\n        <limit kind=\"memory\" "
                "max=\"" +
                number + "\" unit=\"MB\"/>\n    </server>\n";
    }
    return text + "</config>\n";
}

// Paragraphs of prose; every third one has an entity.
inline std::string textXml() {
    std::string text = "<?xml version=\"1.0\"?>\n<book>\n";
    for (int i = 0; i < 1000; ++i) {
        text += "  <p>";
        for (int sentence = 0; sentence < 6; ++sentence)
            text += "The quick brown fox jumps over the lazy dog and runs back to the wood. ";
        if (i % 3 == 0) text += "Black &amp; white.";
        text += "</p>\n";
    }
    return text + "</book>\n";
}

// Records with short texts, each text in its own element.
inline std::string catalogXml() {
    std::string text = "<?xml version=\"1.0\"?>\n<catalog>\n";
    for (int i = 0; i < 2000; ++i) {
        const std::string number = std::to_string(i);
        text += "  <item id=\"" + number + "\">\n    <title>Item " + number +
                "</title>\n    <price currency=\"EUR\">" + std::to_string(i * 7 % 1000) +
                ".95</price>\n    <stock>" + std::to_string(i % 50) +
                "</stock>\n    <maker>Maker " + std::to_string(i % 17) +
                "</maker>\n    <note>small &amp; light</note>\n  </item>\n";
    }
    return text + "</catalog>\n";
}

}  // namespace bench

#endif  // QOR_BENCH_XML_DOCUMENTS_H
