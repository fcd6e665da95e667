#pragma once

#include <QByteArrayView>
#include <QJsonObject>
#include <QString>
#include <optional>

// What a model is, as its own files state it: the architecture, the parameter count,
// the quantization and the context length, read from a GGUF or safetensors header or
// an Ollama config. Any field may be unknown; nothing is guessed or worked out from
// names.
struct ModelDetails
{
    enum class Format { gguf, safetensors, ollama };

    Format format = Format::gguf;
    QString architecture;                // "llama", "qwen3"; empty when not stated
    std::optional<qint64> parameters;    // the exact count, from the tensors' shapes
    QString quantization;                // "Q4_K_M", "BF16"; empty when unknown
    std::optional<qint64> contextLength; // tokens
    QString sizeLabel;                   // as the file states it ("8B"); empty when it does not
    QString name;                        // as the file states it; empty when it does not

    // Texts a file states are kept when they are valid UTF-8, at most this many bytes
    // and free of control characters; anything else is treated as not stated.
    static constexpr qsizetype maximumTextSize = 256;
    static QString statedText(QByteArrayView utf8);

    // "gguf", "safetensors" or "ollama".
    QString formatKey() const;
    // True when not one of the shown facts is known.
    bool isEmpty() const;
    // What is known, in this order, joined by " · ": "llama · 8.0B · Q4_K_M · 128K context".
    // The parameter count is the stated size label when the exact count is unknown.
    QString summary() const;
    // 8030261248 reads "8.0B", 494032768 "494M": one decimal below 100 of the unit.
    static QString parameterText(qint64 count);
    // 131072 reads "128K context", 1048576 "1M context", 2000 "2,000 context".
    static QString contextText(qint64 tokens);

    // This one with every field it does not know taken from `other` (an Ollama model:
    // its weights' header first, then its config).
    ModelDetails completedBy(const ModelDetails &other) const;

    // The object the terminal prints: format, architecture, parameters, quantization and
    // contextLength (null when unknown), and sizeLabel and name only when stated.
    QJsonObject toJson() const;
    friend bool operator==(const ModelDetails &, const ModelDetails &) = default;
};
