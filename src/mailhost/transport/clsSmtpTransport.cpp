#include "mailhost/transport/clsSmtpTransport.h"

#include <curl/curl.h>
#include <strings.h>

#include <algorithm>
#include <cstring>
#include <exception>
#include <memory>
#include <mutex>
#include <utility>

#include "mailhost/transport/clsChildProcess.h"
#include "mailhost/transport/clsCurlLibrary.h"
#include "mailhost/transport/clsPasswordCommand.h"

namespace {

constexpr size_t kBytesPerExtraSecond = 64 * 1024;

// Handles exist only once the library loaded.
struct clsEasyDeleter {
    void operator()(CURL* easy) const { clsCurlLibrary::Load()->EasyCleanup(easy); }
};
struct clsListDeleter {
    void operator()(curl_slist* list) const { clsCurlLibrary::Load()->SlistFreeAll(list); }
};

size_t ReadMessage(char* buffer, size_t size, size_t count, void* userData) {
    auto* rest = static_cast<std::string_view*>(userData);
    const size_t length = std::min(size * count, rest->size());
    std::memcpy(buffer, rest->data(), length);
    rest->remove_prefix(length);
    return length;
}

// Follows the SMTP dialogue for the first refusal the server gave and the recipients it
// refused. Of the commands only RCPT is looked at: AUTH lines carry the credentials.
struct clsDialogue {
    std::string FirstRefusal;
    std::string PendingRecipient;
    bool AwaitingRecipientReply = false;
    std::vector<std::string> Refused;
};

int WatchDialogue(CURL*, curl_infotype type, char* data, size_t size, void* userData) {
    auto* dialogue = static_cast<clsDialogue*>(userData);
    const std::string_view line(data, size);
    constexpr std::string_view kRecipientCommand = "RCPT TO:<";
    if (type == CURLINFO_HEADER_OUT) {
        dialogue->AwaitingRecipientReply =
            line.size() > kRecipientCommand.size() &&
            ::strncasecmp(data, kRecipientCommand.data(), kRecipientCommand.size()) == 0;
        if (dialogue->AwaitingRecipientReply) {
            const std::string_view address = line.substr(kRecipientCommand.size());
            dialogue->PendingRecipient = address.substr(0, address.find('>'));
        }
    } else if (type == CURLINFO_HEADER_IN && !line.empty()) {
        const bool refused = line.front() == '4' || line.front() == '5';
        if (refused && dialogue->FirstRefusal.empty()) {
            dialogue->FirstRefusal = clsChildProcess::FirstLine(line);
        }
        if (refused && dialogue->AwaitingRecipientReply) {
            dialogue->Refused.push_back(dialogue->PendingRecipient);
        }
        dialogue->AwaitingRecipientReply = false;
    }
    return 0;
}

// Everything one transfer points libcurl at; it must outlive curl_easy_perform.
struct clsRequest {
    std::string EnvelopeFrom;
    std::unique_ptr<curl_slist, clsListDeleter> Recipients;
    std::string_view Rest;
    curl_off_t Size = 0;
    clsDialogue Dialogue;
    char Errors[CURL_ERROR_SIZE] = "";
};

CURLcode SetOptions(const clsCurlLibrary& curl, CURL* easy, const clsTransportSettings& settings,
                    const std::string& password, clsRequest& request) {
    CURLcode result = CURLE_OK;
    const auto set = [&](CURLoption option, auto value) {
        if (result == CURLE_OK) {
            result = curl.EasySetopt(easy, option, value);
        }
    };
    const long step = static_cast<long>(settings.Timeout.count());
    const long whole = step + static_cast<long>(request.Size / kBytesPerExtraSecond);
    set(CURLOPT_URL, settings.Url.c_str());
    set(CURLOPT_PROTOCOLS_STR, "smtp,smtps");
    set(CURLOPT_USE_SSL, static_cast<long>(settings.RequireTls ? CURLUSESSL_ALL : CURLUSESSL_TRY));
    if (!settings.CaFile.empty()) {
        set(CURLOPT_CAINFO, settings.CaFile.c_str());
    }
    if (!settings.User.empty()) {
        set(CURLOPT_USERNAME, settings.User.c_str());
        set(CURLOPT_PASSWORD, password.c_str());
    }
    set(CURLOPT_NOSIGNAL, 1L);
    set(CURLOPT_CONNECTTIMEOUT, step);
    set(CURLOPT_SERVER_RESPONSE_TIMEOUT, step);
    set(CURLOPT_LOW_SPEED_LIMIT, 1L);
    set(CURLOPT_LOW_SPEED_TIME, step);
    set(CURLOPT_TIMEOUT, whole);
    set(CURLOPT_MAIL_FROM, request.EnvelopeFrom.c_str());
    set(CURLOPT_MAIL_RCPT, request.Recipients.get());
    set(CURLOPT_MAIL_RCPT_ALLLOWFAILS, 1L);
    set(CURLOPT_UPLOAD, 1L);
    set(CURLOPT_INFILESIZE_LARGE, request.Size);
    set(CURLOPT_READFUNCTION, &ReadMessage);
    set(CURLOPT_READDATA, static_cast<void*>(&request.Rest));
    set(CURLOPT_ERRORBUFFER, request.Errors);
    set(CURLOPT_VERBOSE, 1L);
    set(CURLOPT_DEBUGFUNCTION, &WatchDialogue);
    set(CURLOPT_DEBUGDATA, static_cast<void*>(&request.Dialogue));
    return result;
}

struct clsFailure {
    CURLcode Code;
    clsStatus::Code Kind;
    const char* Advice;
};

// What a user can do about the failures one meets in practice; the rest are "sending failed".
constexpr clsFailure kFailures[] = {
    {CURLE_LOGIN_DENIED, clsStatus::Code::Denied,
     "authentication failed: check User and the password command"},
    {CURLE_USE_SSL_FAILED, clsStatus::Code::Denied,
     "the server offers no STARTTLS, and RequireTls forbids sending in the clear"},
    {CURLE_PEER_FAILED_VERIFICATION, clsStatus::Code::Denied,
     "the server's certificate is not trusted: check the host name and CaFile"},
    {CURLE_SSL_CACERT_BADFILE, clsStatus::Code::Invalid,
     "the CA file cannot be read: check CaFile"},
    {CURLE_SSL_CONNECT_ERROR, clsStatus::Code::Io, "the TLS handshake failed"},
    {CURLE_OPERATION_TIMEDOUT, clsStatus::Code::Temporary,
     "timed out: the server did not answer in time"},
    {CURLE_COULDNT_RESOLVE_HOST, clsStatus::Code::Temporary,
     "the server's name cannot be resolved"},
    {CURLE_COULDNT_CONNECT, clsStatus::Code::Temporary, "cannot connect to the server"},
    {CURLE_SEND_ERROR, clsStatus::Code::Io, "the server refused the message or its recipients"},
    {CURLE_RECV_ERROR, clsStatus::Code::Temporary, "the connection broke"},
    {CURLE_GOT_NOTHING, clsStatus::Code::Temporary, "the server closed the connection"},
    {CURLE_WEIRD_SERVER_REPLY, clsStatus::Code::Io, "the server does not speak SMTP as expected"},
};

const clsFailure* FindFailure(CURLcode code) {
    const auto known =
        std::find_if(std::begin(kFailures), std::end(kFailures),
                     [code](const clsFailure& failure) { return failure.Code == code; });
    return known == std::end(kFailures) ? nullptr : known;
}

clsStatus Failed(const clsCurlLibrary& curl, CURLcode code, const clsRequest& request,
                 long lastReply) {
    const clsFailure* known = FindFailure(code);
    std::string description = known == nullptr ? "sending failed" : known->Advice;
    description += std::string("; ") + curl.EasyStrerror(code);
    if (request.Errors[0] != '\0') {
        description += std::string(" (") + request.Errors + ")";
    }
    if (!request.Dialogue.FirstRefusal.empty()) {
        description += "; the server said: " + request.Dialogue.FirstRefusal;
    } else if (lastReply != 0) {
        description += "; last reply code " + std::to_string(lastReply);
    }
    return clsStatus::Error(known == nullptr ? clsStatus::Code::Io : known->Kind, description,
                            static_cast<long>(code));
}

}  // namespace

clsSmtpTransport::clsSmtpTransport(clsTransportSettings settings)
    : mSettings(std::move(settings)) {}

clsStatus clsSmtpTransport::Send(std::string_view message, std::string_view envelopeFrom,
                                 const std::vector<std::string>& recipients) {
    mRejected.clear();
    std::string password;
    try {
        clsStatus status = CheckEnvelope(envelopeFrom, recipients);
        if (status.IsOk() && !mSettings.User.empty()) {
            status = clsPasswordCommand(mSettings.PasswordCommand).Read(password);
        }
        if (status.IsOk()) {
            status = Transfer(message, envelopeFrom, recipients, password);
        }
        clsPasswordCommand::Wipe(password);
        return status.IsOk() ? std::move(status)
                             : clsStatus::Error(status.GetCode(), Where() + status.Description(),
                                                status.Number());
    } catch (const std::exception& error) {  // only allocation failures reach here
        clsPasswordCommand::Wipe(password);
        return clsStatus::Error(clsStatus::Code::Io, Where() + error.what());
    }
}

clsStatus clsSmtpTransport::Transfer(std::string_view message, std::string_view envelopeFrom,
                                     const std::vector<std::string>& recipients,
                                     const std::string& password) {
    const clsCurlLibrary* curl = clsCurlLibrary::Load();
    if (curl == nullptr) {
        return clsStatus::Error(clsStatus::Code::Io, clsCurlLibrary::Error());
    }
    const std::unique_ptr<CURL, clsEasyDeleter> easy(curl->EasyInit());
    clsRequest request;
    request.EnvelopeFrom = "<" + std::string(envelopeFrom) + ">";
    for (const std::string& recipient : recipients) {
        curl_slist* longer = curl->SlistAppend(request.Recipients.get(), recipient.c_str());
        if (longer == nullptr) {
            return clsStatus::Error(clsStatus::Code::Io, "out of memory for the recipient list");
        }
        static_cast<void>(request.Recipients.release());  // longer now owns the old nodes
        request.Recipients.reset(longer);
    }
    request.Rest = message;
    request.Size = static_cast<curl_off_t>(message.size());
    if (!easy || SetOptions(*curl, easy.get(), mSettings, password, request) != CURLE_OK) {
        return clsStatus::Error(clsStatus::Code::Io, "cannot set libcurl up for SMTP");
    }
    const CURLcode code = curl->EasyPerform(easy.get());
    if (code == CURLE_OK) {
        mRejected = std::move(request.Dialogue.Refused);
        return clsStatus::Ok();
    }
    long lastReply = 0;
    curl->EasyGetinfo(easy.get(), CURLINFO_RESPONSE_CODE, &lastReply);
    return Failed(*curl, code, request, lastReply);
}

std::string clsSmtpTransport::Where() const {
    std::string url = mSettings.Url;
    const size_t authority = url.find("://");
    const size_t at = url.find('@');
    if (authority != std::string::npos && at != std::string::npos &&
        at < url.find('/', authority + 3)) {
        url.erase(authority + 3, at + 1 - (authority + 3));
    }
    return "SMTP " + url + ": ";
}
