import java.io.File;
import java.nio.file.Files;
import java.nio.file.Path;
import java.security.KeyFactory;
import java.security.PrivateKey;
import java.security.Security;
import java.security.spec.PKCS8EncodedKeySpec;
import java.util.List;
import org.bouncycastle.cert.X509CertificateHolder;
import org.bouncycastle.cms.CMSProcessableByteArray;
import org.bouncycastle.cms.CMSSignedData;
import org.bouncycastle.cms.CMSSignedDataGenerator;
import org.bouncycastle.cms.SignerInfoGenerator;
import org.bouncycastle.cms.SignerInfoGeneratorBuilder;
import org.bouncycastle.cms.SignerInformation;
import org.bouncycastle.cms.SignerInformationStore;
import org.bouncycastle.cms.jcajce.JcaSimpleSignerInfoVerifierBuilder;
import org.bouncycastle.asn1.x509.Extension;
import org.bouncycastle.asn1.x509.SubjectKeyIdentifier;
import org.bouncycastle.jce.provider.BouncyCastleProvider;
import org.bouncycastle.operator.ContentSigner;
import org.bouncycastle.operator.bc.BcDigestCalculatorProvider;
import org.bouncycastle.operator.jcajce.JcaContentSignerBuilder;

/**
 * Signs and verifies messages with Bouncy Castle: "java BouncyCastleMessages.java JOBS", one job a line:
 *
 *     sign KEY CERTIFICATE KEY-ALGORITHM SIGNATURE-ALGORITHM FORM CONTENT MESSAGE
 *     verify MESSAGE CONTENT
 *
 * Files are DER, KEY is PKCS#8. FORM is a list of words with commas: plain, keyid, noattr, detached, counter. CONTENT is -
 * where the message holds it. For each signer that verifies it prints a line "ok MESSAGE".
 */
public class BouncyCastleMessages {
    private static byte[] read(String path) throws Exception { return Files.readAllBytes(Path.of(path)); }

    private static SignerInfoGenerator signer(String[] job, List<String> form) throws Exception {
        PrivateKey key = KeyFactory.getInstance(job[3], "BC").generatePrivate(new PKCS8EncodedKeySpec(read(job[1])));
        X509CertificateHolder certificate = new X509CertificateHolder(read(job[2]));
        ContentSigner signer = new JcaContentSignerBuilder(job[4]).setProvider("BC").build(key);
        SignerInfoGeneratorBuilder builder = new SignerInfoGeneratorBuilder(new BcDigestCalculatorProvider());
        builder.setDirectSignature(form.contains("noattr"));
        if (!form.contains("keyid"))
            return builder.build(signer, certificate);
        byte[] id = SubjectKeyIdentifier.getInstance(
            certificate.getExtension(Extension.subjectKeyIdentifier).getParsedValue()).getKeyIdentifier();
        return builder.build(signer, id);
    }

    private static void sign(String[] job) throws Exception {
        List<String> form = List.of(job[5].split(","));
        CMSSignedDataGenerator generator = new CMSSignedDataGenerator();
        generator.addSignerInfoGenerator(signer(job, form));
        generator.addCertificate(new X509CertificateHolder(read(job[2])));
        CMSSignedData message =
            generator.generate(new CMSProcessableByteArray(read(job[6])), !form.contains("detached"));
        if (form.contains("counter")) {
            SignerInformation signer = message.getSignerInfos().getSigners().iterator().next();
            CMSSignedDataGenerator counter = new CMSSignedDataGenerator();
            counter.addSignerInfoGenerator(signer(job, List.of("plain")));
            SignerInformationStore counterSigners = counter.generateCounterSigners(signer);
            message = CMSSignedData.replaceSigners(
                message, new SignerInformationStore(SignerInformation.addCounterSigners(signer, counterSigners)));
        }
        Files.write(Path.of(job[7]), message.getEncoded());
    }

    private static void verify(String[] job) throws Exception {
        CMSSignedData message = job[2].equals("-")
            ? new CMSSignedData(read(job[1]))
            : new CMSSignedData(new CMSProcessableByteArray(read(job[2])), read(job[1]));
        for (SignerInformation signer : message.getSignerInfos().getSigners())
            for (Object found : message.getCertificates().getMatches(signer.getSID()))
                if (signer.verify(new JcaSimpleSignerInfoVerifierBuilder().setProvider("BC").build(
                        (X509CertificateHolder) found)))
                    System.out.println("ok " + new File(job[1]).getName());
    }

    public static void main(String[] arguments) throws Exception {
        Security.addProvider(new BouncyCastleProvider());
        for (String line : Files.readAllLines(Path.of(arguments[0]))) {
            String[] job = line.split(" ");
            if (job[0].equals("sign"))
                sign(job);
            else
                verify(job);
        }
    }
}
